#include "inspect/live_detect.h"

#include <gtest/gtest.h>

#include "inspect/web_request.h"
#include "tests/support/client_hello_composer.h"
#include "tests/support/packet_composer.h"

namespace {

using namespace std::string_literals;

TEST(DetectStart, LooksAtTheStartAlone) {
    const struct {
        const char* szReason;
        std::string data;
        uint8_t nResult, nProtocol = PROTO_NONE, nMethod = 0;
    } cases[] = {
        {"GET", "GET / HTTP/1.1\r\n", PREFIX_ENOUGH, PROTO_HTTP, 0},
        {"CONNECT", "CONNECT a:1 HTTP/1.1\r\n", PREFIX_ENOUGH, PROTO_HTTP, 1},
        {"HEAD", "HEAD / ", PREFIX_ENOUGH, PROTO_HTTP, 2},
        {"POST", "POST / ", PREFIX_ENOUGH, PROTO_HTTP, 3},
        {"PUT", "PUT / ", PREFIX_ENOUGH, PROTO_HTTP, 4},
        {"DELETE", "DELETE / ", PREFIX_ENOUGH, PROTO_HTTP, 5},
        {"OPTIONS", "OPTIONS * ", PREFIX_ENOUGH, PROTO_HTTP, 6},
        {"PATCH", "PATCH / ", PREFIX_ENOUGH, PROTO_HTTP, 7},
        {"CWD", "CWD pub\r\n", PREFIX_ENOUGH, PROTO_FTP, 0},
        {"RETR", "RETR f\r\n", PREFIX_ENOUGH, PROTO_FTP, 1},
        {"an FTP word in a URL", "GET /?x=RETR ", PREFIX_ENOUGH, PROTO_HTTP, 0},
        {"an FTP word in a cookie", "GET / HTTP/1.1\r\nCookie: aCWD b\r\n", PREFIX_ENOUGH, PROTO_HTTP, 0},
        {"the word alone", "GET ", PREFIX_ENOUGH, PROTO_HTTP, 0},
        {"breaks off within the word", "CONN", PREFIX_MORE, PROTO_HTTP, 1},
        {"a single letter", "R", PREFIX_MORE, PROTO_FTP, 1},
        {"another word with the same four bytes", "CONNOR ", PREFIX_OTHER},
        {"longer word", "GETAWAY ", PREFIX_OTHER},
        {"other case", "get / HTTP/1.1\r\n", PREFIX_OTHER},
        {"not at the start", "\r\nGET / HTTP/1.1\r\n", PREFIX_OTHER},
        {"hello", ClientHelloFor("a.example"), PREFIX_ENOUGH, PROTO_HTTPS, 0},
        {"hello, cut behind its type", "\x16\3\1\2\0\1"s, PREFIX_ENOUGH, PROTO_HTTPS, 0},
        {"hello, cut before its type", "\x16\3\1\2\0"s, PREFIX_MORE, PROTO_HTTPS},
        {"another handshake message", "\x16\3\3\0\7\x10"s, PREFIX_OTHER},
        {"SSL 2.0", "\x16\2\1\0\7\1"s, PREFIX_OTHER},
        {"application data", "\x17\3\3\0\7\1"s, PREFIX_OTHER},
        {"no data", "", PREFIX_OTHER},
    };
    for (const auto& c : cases) {
        const Bytes data(c.data.begin(), c.data.end());
        tagRequestStart start{};
        EXPECT_EQ(DetectStart(data, start), c.nResult) << c.szReason;
        EXPECT_EQ(start.nProtocol, c.nProtocol) << c.szReason;
        EXPECT_EQ(start.nMethod, c.nMethod) << c.szReason;
    }
}

}  // namespace
