#include "inspect/protocol_detect.h"

#include <gtest/gtest.h>

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

TEST(FindKeyword, SkipsEmptyEntries) {
    const Bytes data(8, 'x');
    EXPECT_EQ(FindKeyword(data, {"", 0}), -1);
    EXPECT_EQ(FindKeyword(data, {"xx", 2}), 0);
}

}  // namespace
