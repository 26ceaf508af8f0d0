#include "inspect/hello_prefix.h"

#include <gtest/gtest.h>

#include "tests/support/client_hello_composer.h"
#include "tests/support/packet_composer.h"

namespace {

using namespace std::string_literals;

const std::string kName = ServerNames(NameEntry("a.example"));

// In a block of its exact size: a sanitizer sees the first byte read behind it.
uint8_t Walk(const std::string& data, std::string& name) {
    const Bytes exact(data.begin(), data.end());
    char szName[256] = "untouched";
    const uint8_t nResult = FindHelloName(exact, szName);
    name = szName;
    return nResult;
}

TEST(FindHelloName, TellsWhatTheBytesHold) {
    const std::string hello = Hello(kName);
    const size_t nExtensions = hello.size() - kName.size() - 2;  // offset of the length of all extensions
    const struct {
        const char* szReason;
        std::string data;
        uint8_t nResult;
        std::string name = "untouched";
    } cases[] = {
        {"whole", hello, PREFIX_ENOUGH, "a.example"},
        {"bytes behind", hello + "more", PREFIX_ENOUGH, "a.example"},
        {"in records of one byte", SplitRecords(hello, 1), PREFIX_ENOUGH, "a.example"},
        {"as large as a browser's", LargeClientHelloFor("a.example"), PREFIX_ENOUGH, "a.example"},
        {"second entry", Hello(ServerNames(NameEntry("x", 1) + NameEntry("ab"))), PREFIX_ENOUGH, "ab"},
        {"a NUL ends it", Hello(ServerNames(NameEntry("ab\0c"s))), PREFIX_ENOUGH, "ab"},
        {"cut to the field", Hello(ServerNames(NameEntry(std::string(300, 'h')))), PREFIX_ENOUGH,
         std::string(255, 'h')},
        {"no extensions", ComposeClientHello({.extensions = std::nullopt}), PREFIX_NO_NAME},
        {"no such extension", Hello(Extension(23, "")), PREFIX_NO_NAME},
        {"no host among the names", Hello(ServerNames(NameEntry("x", 1))), PREFIX_NO_NAME},
        {"one character", Hello(ServerNames(NameEntry("a"))), PREFIX_NO_NAME},
        {"empty name", Hello(ServerNames(NameEntry(""))), PREFIX_NO_NAME},
        {"no data", "", PREFIX_MORE},
        {"another message", Changed(hello, 5, 2), PREFIX_DAMAGED},
        {"message longer than any hello", Changed(hello, 6, 3), PREFIX_DAMAGED},
        {"message ends within its fields", Changed(hello, 8, 50), PREFIX_DAMAGED},
        {"extensions reach behind the message", Changed(hello, nExtensions, 1), PREFIX_DAMAGED},
        {"extension reaches behind all", Changed(hello, nExtensions + 4, 1), PREFIX_DAMAGED},
        {"name reaches behind its extension", Changed(hello, nExtensions + 9, 1), PREFIX_DAMAGED},
        {"empty record", hello.substr(0, 3) + "\0\0"s + hello, PREFIX_DAMAGED},
        {"record longer than records may be", Changed(hello, 3, 0x41), PREFIX_DAMAGED},
        {"another record within the message", SplitRecords(hello, 20).replace(25, 1, "\x14"), PREFIX_DAMAGED},
    };
    for (const auto& c : cases) {
        std::string name;
        EXPECT_EQ(Walk(c.data, name), c.nResult) << c.szReason;
        EXPECT_EQ(name, c.name) << c.szReason;
    }
}

}  // namespace
