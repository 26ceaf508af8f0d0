#include "report/session_user.h"

#include <gtest/gtest.h>
#include <paths.h>
#include <unistd.h>
#include <utmp.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

// Login records in a file of the test's own.
class SessionUser : public testing::Test {
  protected:
    SessionUser() {
        close(mkstemp(szPath_));
        utmpname(szPath_);
    }
    ~SessionUser() override {
        utmpname(_PATH_UTMP);
        unlink(szPath_);
    }
    void Write(const std::vector<std::pair<int, std::string>>& logins) {
        FILE* pFile = fopen(szPath_, "wb");
        for (const auto& [nType, szUser] : logins) {
            utmp entry{};
            entry.ut_type = static_cast<short>(nType);
            szUser.copy(entry.ut_user, sizeof entry.ut_user);
            std::memset(entry.ut_host, 'h', sizeof entry.ut_host);  // the field behind the user
            fwrite(&entry, sizeof entry, 1, pFile);
        }
        fclose(pFile);
    }
    char szPath_[32] = "/tmp/websec_utmp_XXXXXX";
};

TEST_F(SessionUser, IsTheFirstLogin) {
    const std::string szFull(32, 'u');
    const struct {
        std::vector<std::pair<int, std::string>> logins;
        uint32_t nSize;
        std::string szExpected;
    } cases[] = {
        {{{BOOT_TIME, "reboot"}, {DEAD_PROCESS, "gone"}, {USER_PROCESS, "anna"}, {USER_PROCESS, "ben"}},
         512,
         "anna"},
        {{{USER_PROCESS, szFull}}, 512, szFull},
        {{{USER_PROCESS, "anna"}}, 3, "an"},
        {{{USER_PROCESS, "anna"}}, 1, ""},
        {{{LOGIN_PROCESS, "LOGIN"}}, 512, "before"},
        {{}, 512, "before"},
    };
    for (const auto& c : cases) {
        Write(c.logins);
        for (int i = 0; i < 2; ++i) {  // each look-up starts from the first record
            char szUser[512] = "before";
            EXPECT_EQ(GetSessionUser(szUser, c.nSize), 0u);
            EXPECT_EQ(szUser, c.szExpected);
        }
    }
}

TEST_F(SessionUser, NeedsABuffer) {
    char szUser[8] = "before";
    EXPECT_EQ(GetSessionUser(nullptr, 8), 2u);
    EXPECT_EQ(GetSessionUser(szUser, 0), 2u);
    EXPECT_STREQ(szUser, "before");
}

}  // namespace
