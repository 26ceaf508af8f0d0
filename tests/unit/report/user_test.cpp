#include <gtest/gtest.h>
#include <paths.h>
#include <pwd.h>
#include <utmp.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "report/connection_owner.h"
#include "report/session_user.h"
#include "tests/support/memory_file.h"

namespace {

constexpr char HEADING[] =
    "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout inode\n";

// The packets of these tests go from port 0x1F90 to port 80.
const tagPacketInfo PACKET = [] {
    tagPacketInfo packet{};
    packet.nSrcPort = 0x1F90;
    packet.nDstPort = 80;
    return packet;
}();

// A line as the kernel writes it: an established connection of the given ports and owner.
std::string Line(unsigned nLocalPort, unsigned nRemotePort, unsigned nUid,
                 const char* szRemote = "0201A8C0") {
    char szLine[200];
    snprintf(szLine, sizeof szLine,
             "   1: 0100007F:%04X %s:%04X 01 00000000:00000000 00:00000000 00000000 %5u        0 21504 1 "
             "0000000000000000 100 0 0 10 0                     \n",
             nLocalPort, szRemote, nRemotePort, nUid);
    return szLine;
}

std::string UserIn(const std::string& szTable, uint32_t nSize = 64) {
    char szUser[64] = "?";
    EXPECT_EQ(FindConnectionOwner(MemoryFile(szTable).Path().c_str(), szUser, nSize, &PACKET), 0u);
    return szUser;
}

TEST(ConnectionOwner, FirstLineWithBothPortsDecides) {
    const std::string szRoot = Line(0x1F90, 80, 0);
    const std::string szNoUid = szRoot.substr(0, szRoot.find("     0 "));
    ASSERT_EQ(getpwuid(4000000001u), nullptr);
    const struct {
        std::string szTable;
        const char* szUser;
        const char* szReason;
    } cases[] = {
        {HEADING + Line(0x1F90, 81, 1) + szRoot, "root", "another remote port before"},
        {HEADING + Line(80, 0x1F90, 1) + szRoot, "root", "the server's side of a local connection"},
        {HEADING + szRoot + Line(0x1F90, 80, 1, "0101A8C0"), "root", "the same ports at another address"},
        {HEADING + Line(0x1F90, 80, 4000000001u) + szRoot, "?", "an owner without an entry decides, too"},
        {"", "?", "an empty table"},
        {"\n\n:\n::::\n%n%s\n" + szRoot, "root", "nothing like a line"},
        {szNoUid + "\n" + szRoot, "root", "no uid, then a whole line"},
        {szNoUid + " x\n" + szRoot, "root", "an uid that is no number"},
        {"   1: 0100007F:ZZZZ" + szRoot.substr(20), "?", "a port that is no number"},
        {"   1: 0100007F:11F90" + szRoot.substr(20), "?", "a port with the right low half"},
        {std::string(8195, 'x') + szRoot, "root", "read in pieces of 8195 characters"},
        {szRoot.substr(0, szRoot.find("        0 21504")), "root", "ends behind the uid, without a newline"},
        {std::string(100000, '\xFF'), "?", "no line ends"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(UserIn(c.szTable), c.szUser) << c.szReason;
    for (const auto& [nSize, szCut] : {std::pair(5u, "root"), {4, "roo"}, {1, ""}, {0, "?"}})
        EXPECT_EQ(UserIn(szRoot, nSize), szCut);
    char szUser[8] = "?";
    EXPECT_EQ(FindConnectionOwner("/nonexistent/tcp", szUser, sizeof szUser, &PACKET), 5u);
    EXPECT_STREQ(szUser, "?");
}

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
