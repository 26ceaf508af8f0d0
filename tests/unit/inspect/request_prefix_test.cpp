#include "inspect/request_prefix.h"

#include <gtest/gtest.h>

#include "tests/support/client_hello_composer.h"
#include "tests/support/packet_composer.h"

namespace {

uint8_t Read(const std::string& data) {
    const Bytes exact(data.begin(), data.end());
    return ReadRequestPrefix(exact);
}

// Each text is a request up to where a bar stands: there it is enough, one byte before it is not.
TEST(ReadRequestPrefix, IsEnoughAsSoonAsNothingCanChange) {
    const std::pair<const char*, std::string> cases[] = {
        {"the Host line's end", "GET /p HTTP/1.1\r\nHost: a.example\r\n|Accept: */*\r\n\r\n"},
        {"a later Host line", "POST /p HTTP/1.1\r\nAccept: */*\r\nHOST:a\r\n|\r\nbody"},
        {"an empty Host", "GET /p HTTP/1.1\r\nHost: \r\n|Host: b\r\n"},
        {"nothing behind the colon: the next one", "GET / HTTP/1.1\r\nHost:\r\nHost: b\r\n|"},
        {"no Host: the end of the headers", "GET /p HTTP/1.0\r\nAccept: */*\r\n\r\n|"},
        {"line ends of one byte", "GET /p HTTP/1.1\nHost: a.example\n|\n"},
        {"FTP command", "RETR f.zip\r|\n"},
        {"server name", ClientHelloFor("a.example").insert(ClientHelloFor("a.example").size() - 9, "|")},
    };
    for (const auto& [szReason, text] : cases) {
        const size_t nBar = text.find('|');
        const std::string whole = std::string(text).erase(nBar, 1);
        for (size_t nKept = 1; nKept <= whole.size(); ++nKept) {
            EXPECT_EQ(Read(whole.substr(0, nKept)), nKept < nBar ? PREFIX_MORE : PREFIX_ENOUGH)
                << szReason << ", " << nKept << " bytes";
        }
    }
    EXPECT_EQ(Read("GET\r\n\r\n"), PREFIX_OTHER);
    EXPECT_EQ(Read(ComposeClientHello()), PREFIX_NO_NAME);
}

TEST(FindNextRequest, StepsOverHeadersAndBody) {
    const std::string head = "HEAD / HTTP/1.1\r\nHost: a\r\n";
    const struct {
        const char* szReason;
        std::string data;
        const char* szNext;  // what is found begins with it; null: nothing
    } cases[] = {
        {"GET behind HEAD", head + "\r\nGET /2 ", "GET /2"},
        {"breaks off within its word", head + "\r\nGE", "GE"},
        {"line ends of one byte", "GET / HTTP/1.1\nHost: a\n\nGET /2 ", "GET /2"},
        {"empty lines between", head + "\r\n\r\n\r\nGET /2 ", "GET /2"},
        {"behind a body", head + "Content-Length: 6\r\n\r\nGET /1GET /2 ", "GET /2"},
        {"the body is all", head + "Content-Length: 6\r\n\r\nGET /1", nullptr},
        {"the body goes on", head + "Content-Length: 60\r\n\r\nGET /1", nullptr},
        {"a length before a line end of one byte", "PUT / HTTP/1.1\nContent-Length: 60\n\nbody12GET /2 ",
         nullptr},
        {"no length", head + "Content-Length: x\r\n\r\nGET /2 ", nullptr},
        {"endless length", head + "Content-Length: 99999999999999999999\r\n\r\nGET /2 ", nullptr},
        {"a length in many digits",
         head + "Content-Length: " + std::string(300, '0') + "6\r\n\r\nGET /1GET /2 ", "GET /2"},
        {"in chunks, and more", head + "Transfer-Encoding: " + std::string(300, 'x') + "\r\n\r\nGET /2 ",
         nullptr},
        {"headers with nothing in them", head + "Transfer-Encoding:\r\nContent-Length:\r\n\r\nGET /2 ",
         "GET /2"},
        {"in chunks", head + "Transfer-Encoding: chunked\r\n\r\nGET /2 ", nullptr},
        {"a tunnel", "CONNECT a:1 HTTP/1.1\r\nHost: a\r\n\r\nGET /2 ", nullptr},
        {"headers go on", head + "X: GET /2 ", nullptr},
        {"something else", head + "\r\nhello", nullptr},
        {"FTP commands", "CWD pub\r\nTYPE I\r\nRETR f\r\n", "RETR f"},
        {"one FTP command", "CWD pub\r\nPASV\r\n", nullptr},
        {"hello", ClientHelloFor("a.example") + "GET /2 ", nullptr},
    };
    for (const auto& c : cases) {
        const Bytes exact(c.data.begin(), c.data.end());
        const size_t nNext = FindNextRequest(exact, FindRequestEnd(exact));
        ASSERT_LE(nNext, exact.size()) << c.szReason;
        EXPECT_EQ(nNext < exact.size(), c.szNext != nullptr) << c.szReason;
        EXPECT_TRUE(c.data.substr(nNext).starts_with(c.szNext ? c.szNext : "")) << c.szReason;
    }
}

}  // namespace
