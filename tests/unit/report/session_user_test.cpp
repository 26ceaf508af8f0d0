#include "report/session_user.h"

#include <gtest/gtest.h>
#include <paths.h>
#include <utmp.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/memory_file.h"

namespace {

using Logins = std::vector<std::pair<int, std::string>>;

void WriteLogins(const char* szPath, const Logins& logins) {
    FILE* pFile = fopen(szPath, "wb");
    for (const auto& [nType, szUser] : logins) {
        utmp entry{};
        entry.ut_type = static_cast<short>(nType);
        szUser.copy(entry.ut_user, sizeof entry.ut_user);
        std::memset(entry.ut_host, 'h', sizeof entry.ut_host);  // the field behind the user
        fwrite(&entry, sizeof entry, 1, pFile);
    }
    fclose(pFile);
}

TEST(SessionUser, IsTheFirstLogin) {
    const std::string szFull(32, 'u');
    const struct {
        Logins logins;
        uint32_t nSize;
        std::string szExpected;
    } cases[] = {
        {{{BOOT_TIME, "reboot"}, {DEAD_PROCESS, "gone"}, {USER_PROCESS, "anna"}, {USER_PROCESS, "ben"}},
         512,
         "anna"},
        {{{USER_PROCESS, szFull}}, 512, szFull},
        {{{USER_PROCESS, "anna"}}, 3, "an"},
        {{{LOGIN_PROCESS, "LOGIN"}}, 512, "before"},
        {{}, 512, "before"},
    };
    const MemoryFile file("");
    utmpname(file.Path().c_str());
    char szUser[512];
    for (const auto& c : cases) {
        WriteLogins(file.Path().c_str(), c.logins);
        for (int i = 0; i < 2; ++i) {  // each look-up starts from the first record
            std::strcpy(szUser, "before");
            EXPECT_EQ(GetSessionUser(szUser, c.nSize), 0u);
            EXPECT_EQ(szUser, c.szExpected);
        }
    }
    utmpname(_PATH_UTMP);
    EXPECT_EQ(GetSessionUser(nullptr, 8), 2u);
    EXPECT_EQ(GetSessionUser(szUser, 0), 2u);
}

}  // namespace
