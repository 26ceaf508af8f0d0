#include "inspect/ftp_command.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include "tests/support/packet_composer.h"

namespace {

TEST(ExtractFTPArgument, TakesWhatFollowsTheKeyword) {
    enum : uint8_t { CWD = 0, RETR = 1 };
    const struct {
        const char* szReason;
        std::string data;
        uint8_t nMethod;
        std::string path;
    } cases[] = {
        {"folder", "CWD \t/pub/linux\r\n", CWD, "/pub/linux"},
        {"one character vanishes", "CWD /\r\n", CWD, ""},
        {"cut at the first blank", "RETR my file.zip\r\n", RETR, "my"},
        {"reaches the end of the data", "RETR file.zip", RETR, "file.zip"},
        {"keyword ends the data", "NOOP\r\nRETR", RETR, ""},
        {"behind an earlier command", "TYPE I\r\nRETR a.b\r\n", RETR, "a.b"},
        {"the keyword of nMethod, not the first of any", "RETR CWD ab\r\n", CWD, "ab"},
        {"cut to the field", "CWD " + std::string(1100, 'x'), CWD, std::string(1023, 'x')},
        {"keyword is missing", "LIST\r\n", CWD, ""},
        {"no data", "", RETR, ""},
    };
    for (const auto& c : cases) {
        const TestSegment segment(c.data);
        tagWebRequest request{};
        request.nMethod = c.nMethod;
        EXPECT_EQ(ExtractFTPArgument(&segment.info, &request), 0) << c.szReason;
        EXPECT_EQ(request.szPath, c.path) << c.szReason;
    }
}

TEST(SetFTPServerHost, WritesTheDottedAddress) {
    tagPacketInfo info{};
    info.nDstAddr = inet_addr("198.51.100.255");
    tagWebRequest request{};
    EXPECT_EQ(SetFTPServerHost(&info, &request), 0);
    EXPECT_STREQ(request.szHost, "198.51.100.255");
}

}  // namespace
