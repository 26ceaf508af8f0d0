#include "inspect/tls_client_hello.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

#include "common/own_stdout.h"
#include "tests/support/client_hello_composer.h"
#include "tests/support/packet_composer.h"

namespace {

using namespace std::string_literals;

const std::string kName = ServerNames(NameEntry("a.example"));

std::string Cut(std::string text, size_t nBytes) {
    return text.substr(0, text.size() - nBytes);
}

TEST(ExtractTLSServerName, TakesTheFirstHostName) {
    const struct {
        const char* szReason;
        std::string data;
        int nResult;
        std::string host = "";
    } cases[] = {
        {"among other extensions", ClientHelloFor("a.example"), 9, "a.example"},
        {"no session id", ComposeClientHello({.sessionId = "", .extensions = kName}), 9, "a.example"},
        {"SSL 3.0 with extensions", ComposeClientHello({.version = "\3\0"s, .extensions = kName}), 9,
         "a.example"},
        {"bytes behind the record", Hello(kName) + "more", 9, "a.example"},
        {"second entry is a host name", Hello(ServerNames(NameEntry("x", 1) + NameEntry("a.example"))), 9,
         "a.example"},
        {"first of two", Hello(ServerNames(NameEntry("a.example") + NameEntry("b.example"))), 9, "a.example"},
        {"NUL shortens the host, not the result", Hello(ServerNames(NameEntry("a\0.example"s))), 10, "a"},
        {"cut to the field", Hello(ServerNames(NameEntry(std::string(300, 'h')))), 300,
         std::string(255, 'h')},
        {"length of the list is not examined", Hello(Extension(0, "\xFF\xFF" + NameEntry("ab"))), 2, "ab"},
        {"empty name", Hello(ServerNames(NameEntry("") + NameEntry("b.example"))), 0},
        {"no extensions at all", ComposeClientHello({.extensions = std::nullopt}), 0},
        {"incomplete", Cut(Hello(kName), 1), 0},
        {"no data", "", 2},
    };
    for (const auto& c : cases) {
        const TestSegment segment(c.data);
        tagWebRequest request{};
        g_bStdoutIsOurs = 0;
        EXPECT_EQ(ExtractTLSServerName(&segment.info, &request), c.nResult) << c.szReason;
        EXPECT_EQ(request.szHost, c.host) << c.szReason;
        g_bStdoutIsOurs = 1;
    }
}

TEST(ParseClientHello, TellsWhyThereIsNoName) {
    const std::string hello = Hello(kName);
    const size_t nExtensions = hello.size() - kName.size() - 2;  // offset of the length of all extensions
    const struct {
        const char* szReason;
        std::string data;
        int nResult;
    } cases[] = {
        {"no whole record header", hello.substr(0, 4), -1},
        {"record one byte short", Cut(hello, 1), -1},
        {"SSL 2.0 hello", "\x80\x2E\1\3\1"s, -2},
        {"not a handshake", Changed(hello, 0, 23), -5},
        {"major version 2", Changed(hello, 1, 2), -2},
        {"major version 0x83 is negative", Changed(hello, 1, 0x83), -2},
        {"empty record", "\x16\3\1\0\0"s, -5},
        {"ServerHello", Changed(hello, 5, 2), -5},
        {"ends before the session id", "\x16\3\1\0\x26\1"s + std::string(37, 'x'), -5},
        {"session id runs out", Changed(hello, 43, 255), -5},
        {"cipher suites run out", Changed(hello, 44 + 32, 255), -5},
        {"compression runs out", Changed(hello, 44 + 32 + 2 + 4, 255), -5},
        {"no extensions", ComposeClientHello({.extensions = std::nullopt}), -5},
        {"no extensions, SSL 3.0", ComposeClientHello({.version = "\3\0"s, .extensions = std::nullopt}), -2},
        {"extensions run past the record", Changed(hello, nExtensions + 1, kName.size() + 1), -5},
        {"extensions empty", Hello(""), -2},
        {"last extension without a body", Hello(Extension(23, "")), -2},
        {"half an extension header", Hello(Extension(16, "xx") + "\0\0\0"s), -5},
        {"other extension runs out", Hello(Cut(Extension(16, "xx"), 1)), -5},
        {"server_name without even a list length", Hello(Extension(0, "x")), -5},
        {"empty list", Hello(ServerNames("")), -2},
        {"entry runs out", Hello(Extension(0, "\0\5"s + Cut(NameEntry("ab"), 1))), -5},
        {"empty name as the last entry is not read", Hello(ServerNames(NameEntry(""))), -5},
    };
    for (const auto& c : cases) {
        const TestSegment segment(c.data);
        char* szName = nullptr;
        EXPECT_EQ(ParseClientHello(segment.bytes, &szName), c.nResult) << c.szReason;
        EXPECT_EQ(szName, nullptr) << c.szReason;
    }
    EXPECT_EQ(ParseClientHello({}, nullptr), -3);
}

TEST(ParseServerNameList, NamesUnknownTypesOnlyOnItsOwnOutput) {
    const TestSegment list("\0\0"s + NameEntry("x", 1) + NameEntry("", 0xFF) + NameEntry("ab"));
    for (const uint8_t bOurs : {1, 0}) {
        g_bStdoutIsOurs = bOurs;
        testing::internal::CaptureStdout();
        char* szName = nullptr;
        EXPECT_EQ(ParseServerNameList(list.bytes, &szName), 2);
        const std::unique_ptr<char, decltype(&std::free)> owner(szName, std::free);
        EXPECT_STREQ(szName, "ab");
        EXPECT_EQ(testing::internal::GetCapturedStdout(), bOurs
                                                              ? "Unknown server name extension name type: 1"
                                                                "Unknown server name extension name type: -1"
                                                              : "");
    }
    g_bStdoutIsOurs = 1;
}

}  // namespace
