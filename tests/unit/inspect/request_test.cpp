#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "inspect/ftp_command.h"
#include "inspect/http_request.h"
#include "inspect/protocol_detect.h"
#include "service/service_config.h"
#include "tests/support/client_hello_composer.h"
#include "tests/support/packet_composer.h"

namespace {

using namespace std::string_literals;

TEST(DetectProtocol, TakesTheFirstProtocolThatFits) {
    const struct {
        const char* szReason;
        std::string data;
        int nResult;
        uint8_t nProtocol, nMethod;
    } cases[] = {
        {"request", "GET / HTTP/1.1\r\n", 0, PROTO_HTTP, 0},
        {"tunnel", "CONNECT a.example:443 HTTP/1.1\r\n", 0, PROTO_HTTP, 1},
        {"file", "RETR file.zip\r\n", 0, PROTO_FTP, 1},
        {"CWD is looked for first, RETR only then", "RETR CWD\r\n", 0, PROTO_FTP, 0},
        {"FTP is looked for before HTTP, over all the data", "GET /" + std::string(1400, 'x') + "CWD", 0,
         PROTO_FTP, 0},
        {"within the first 15 bytes", "123456789012GET", 0, PROTO_HTTP, 0},
        {"one byte behind them", "1234567890123GET", -1, PROTO_NONE, 0},
        {"shortest", "GET /", 0, PROTO_HTTP, 0},
        {"four bytes are never classified", "GET ", -1, PROTO_NONE, 0},
        {"not even as FTP", "RETR", -1, PROTO_NONE, 0},
        {"case counts", "get / HTTP/1.1\r\n", -1, PROTO_NONE, 0},
        {"no data", "", -1, PROTO_NONE, 0},
        {"TLS before all others", ClientHelloFor("CWD.GET.example"), 0, PROTO_HTTPS, 0},
    };
    for (const auto& c : cases) {
        const TestSegment segment(c.data);
        tagWebRequest request{};
        EXPECT_EQ(DetectProtocol(&segment.info, &request), c.nResult) << c.szReason;
        EXPECT_EQ(request.nProtocol, c.nProtocol) << c.szReason;
        EXPECT_EQ(request.nMethod, c.nMethod) << c.szReason;
    }
    const TestSegment segment("GET / ");
    tagWebRequest request{};
    EXPECT_EQ(DetectProtocol(nullptr, &request), 2);
    EXPECT_EQ(DetectProtocol(&segment.info, nullptr), 2);
}

TEST(IsTLSClientHello, TellsWhatTheRecordIs) {
    const struct {
        const char* szReason;
        std::string data;
        int nResult;
    } cases[] = {
        {"shortest ClientHello record", "\x16\3\1\0\1\1"s, 0},
        {"major version 0x80 is above 2", "\x16\x80\1\0\1\1"s, 0},
        {"four bytes", "\x16\3\1\0"s, -1},
        {"record promises one byte more", "\x16\3\1\0\2\1"s, -1},
        {"longest length there is", "\x16\3\1\xFF\xFF\1"s, -1},
        {"SSL 2.0 hello", "\x80\x2E\1\3\1\0"s, -2},
        {"major version 2", "\x16\2\1\0\1\1"s, -2},
        {"alert record", "\x15\3\1\0\1\1"s, -5},
        {"empty record", "\x16\3\1\0\0\1"s, -5},
    };
    for (const auto& c : cases) {
        const TestSegment segment(c.data);
        tagWebRequest request{};
        EXPECT_EQ(IsTLSClientHello(&segment.info, &request), c.nResult) << c.szReason;
        EXPECT_EQ(request.nProtocol, c.nResult == 0 ? PROTO_HTTPS : PROTO_NONE) << c.szReason;
    }
}

TEST(ExtractHTTPRequest, TakesHostAndTarget) {
    const struct {
        const char* szReason;
        std::string data;
        std::string host, path;
        uint8_t nMethod = 0;
    } cases[] = {
        {"usual", "GET /p?q HTTP/1.1\r\nHost: a.example\r\n\r\n", "a.example", "/p?q"},
        {"tunnel", "CONNECT a.example:443 HTTP/1.1\r\nHost: a.example:443\r\n\r\n", "a.example",
         "a.example:443", 1},
        {"one-character target vanishes", "GET / HTTP/1.1\r\nHost: a.example\r\n\r\n", "a.example", ""},
        {"target ends at a byte outside ASCII", "GET /a\xE4/b HTTP/1.1\r\nHost: h.example\r\n\r\n",
         "h.example", "/a"},
        {"tabs before the target", "GET\t \t/p HTTP/1.1\r\nHost: a.example\r\n\r\n", "a.example", "/p"},
        {"target starts at the keyword's length, not behind it",
         "??GET /p HTTP/1.1\r\nHost: a.example\r\n\r\n", "a.example", "ET"},
        {"longer target is cut", "GET /" + std::string(1100, 'x') + " HTTP/1.1\r\nHost: a.example\r\n\r\n",
         "a.example", "/" + std::string(1022, 'x')},
        {"no host, no target", "GET /p HTTP/1.1\r\nAccept: */*\r\n\r\n", "", ""},
        {"no data", "", "", ""},
    };
    for (const auto& c : cases) {
        const TestSegment segment(c.data);
        tagWebRequest request{};
        request.nMethod = c.nMethod;
        EXPECT_EQ(ExtractHTTPRequest(&segment.info, &request), 0) << c.szReason;
        EXPECT_EQ(request.szHost, c.host) << c.szReason;
        EXPECT_EQ(request.szPath, c.path) << c.szReason;
    }
}

TEST(FindHeaderValue, ReadsTheHeaderBlockLineByLine) {
    const std::string host255(255, 'h');
    const struct {
        const char* szReason;
        std::string data;
        int nResult;
        std::string value = "untouched";
    } cases[] = {
        {"any case, no blank, trailing blanks kept", "GET\r\nhOST:a \t\r\n\r\n", 0, "a \t"},
        {"first match decides", "GET\r\nHost: a\r\nHost: b\r\n\r\n", 0, "a"},
        {"longest value", "GET\r\nHost: " + host255 + "\r\n\r\n", 0, host255},
        {"too long, and the second is never looked at", "GET\r\nHost: h" + host255 + "\r\nHost: b\r\n\r\n",
         -1},
        {"nothing behind the colon: passed over", "GET\r\nHost:\r\nHost: b\r\n\r\n", 0, "b"},
        {"a blank behind it: an empty value", "GET\r\nHost: \r\nHost: b\r\n\r\n", 0, ""},
        {"a blank before the colon", "GET\r\nHost : a\r\n\r\n", -1},
        {"behind the empty line", "GET\r\n\r\nHost: a\r\n\r\n", -1},
        {"folded line stands alone", "GET\r\nX: y\r\n Host: a\r\n\r\n", -1},
        {"the last byte never counts", "GET\r\nHost: a.example", 0, "a.exampl"},
        {"LF alone takes the byte before it", "GET\nHost: a.example\nX: y\n\n", 0, "a.exampl"},
        {"a lone CR ends a line, and takes a byte of the next", "GET\r_Host: a\r\n\r\n", 0, "a"},
        {"value ends in a lone CR", "GET\r\nHost: a\rb\r\n\r\n", 0, "a"},
        {"NUL cuts the value", "GET\r\nHost: a\0b\r\n\r\n"s, 0, "a"},
        {"one byte", "G", -1},
        {"CR as the last byte", "GET\r", -1},
        {"no data", "", -1},
    };
    for (const auto& c : cases) {
        const TestSegment segment(c.data);
        char szValue[256] = "untouched";
        EXPECT_EQ(FindHeaderValue("Host:", segment.bytes, szValue), c.nResult) << c.szReason;
        EXPECT_EQ(szValue, c.value) << c.szReason;
    }
}

TEST(FindHeaderValue, ReadsWithLiveTrafficWhatServersRead) {
    g_bLiveTraffic = 1;
    const std::pair<const char*, std::string> cases[] = {
        {"GET\nHost: a.example\nX: y\n\n", "a.example"},
        {"GET\nHost:a\nHost: b\n\n", "a"},
        {"GET\nHost: a \t\n\n", "a"},
        {"GET\r\nHost: a \t\r\n\r\n", "a"},
        {"GET\nX: y\r\nHost: a\n", "a"},
    };
    for (const auto& [szData, value] : cases) {
        const TestSegment segment(szData);
        char szValue[256] = "";
        EXPECT_EQ(FindHeaderValue("Host:", segment.bytes, szValue), 0) << szData;
        EXPECT_EQ(szValue, value) << szData;
    }
    g_bLiveTraffic = 0;
}

// Line by line as a walk from byte to byte finds them.
TEST(NextHeaderLine, FindsTheEndsThatAWalkFinds) {
    std::minstd_rand random(1);
    for (int nRound = 0; nRound < 20000; ++nRound) {
        const char* szLetters =
            nRound % 2 == 0 ? "\r\na" : "\r\naaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa";
        Bytes data(random() % 400);
        for (uint8_t& nByte : data)
            nByte = static_cast<uint8_t>(szLetters[random() % std::strlen(szLetters)]);
        const uint8_t* pCursor = data.data();
        auto nLeft = static_cast<uint32_t>(data.size());
        size_t nAt = 0;
        const auto isEnd = [&](size_t n) { return data[n] == '\r' || data[n + 1] == '\n'; };
        for (uint32_t nLength = 1; nLength != 0;) {
            while (data.size() > nAt + 2 && !isEnd(nAt))
                ++nAt;
            nAt += std::min<size_t>(data.size() - nAt, 2);
            size_t nEnd = nAt;
            while (data.size() > nEnd + 1 && !isEnd(nEnd))
                ++nEnd;
            nLength = NextHeaderLine(pCursor, nLeft);
            ASSERT_EQ(nLength, nEnd - nAt);
            ASSERT_EQ(nLeft, data.size() - nAt);
        }
    }
}

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

}  // namespace
