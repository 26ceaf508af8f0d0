#include "inspect/http_request.h"

#include <gtest/gtest.h>

#include "tests/support/packet_composer.h"

namespace {

using namespace std::string_literals;

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

}  // namespace
