#include <gtest/gtest.h>

#include <string>

#include "common/copy_text.h"
#include "inspect/build_url.h"
#include "inspect/url_helpers.h"

namespace {

struct tagCase {
    const char* szReason;
    std::string host, path, url;
};

void ExpectURLs(int (*build)(tagWebRequest*), std::initializer_list<tagCase> cases) {
    for (const tagCase& c : cases) {
        tagWebRequest request{};
        CopyText(request.szHost, c.host);
        CopyText(request.szPath, c.path);
        EXPECT_EQ(build(&request), 0);
        EXPECT_EQ(request.szURL, c.url) << c.szReason;
    }
}

TEST(BuildHTTPURL, JoinsHostAndTarget) {
    const std::string longPath = "/" + std::string(1022, 'x');
    ExpectURLs(
        BuildHTTPURL,
        {
            {"neither", "", "", "http://"},
            {"absolute form: the port takes the path along", "a.example", "http://a.example:81/p",
             "http://a.example"},
            {"a colon in the path cuts there", "a.example", "/x/ns:y:z", "http://a.example/x/ns:y"},
            {"tunnel", "a.example", "a.example:443", "http://a.example"},
            {"relative, without the host", "a.example", "p/q", "http://a.example/p/q"},
            {"relative, with the host inside", "a.example", "p/a.example/q", "http://p/a.example/q"},
            {"empty host occurs everywhere", "", "p", "http://p"},
            {"scheme in capitals is no scheme", "a.example", "HTTP://a.example/p", "http://a.example/HTTP"},
            {"other scheme", "a.example", "ftp://a.example/p", "http://a.example/ftp"},
            {"cut to the field", "a.example", longPath, ("http://a.example" + longPath).substr(0, 1023)},
        });
}

TEST(BuildFTPURL, JoinsServerAndArgument) {
    ExpectURLs(BuildFTPURL, {
                                {"relative", "192.0.2.7", "file.zip", "ftp://192.0.2.7/file.zip"},
                                {"no argument", "192.0.2.7", "", "ftp://192.0.2.7/"},
                                {"holds the address", "192.0.2.7", "192.0.2.7/x", "ftp://192.0.2.7/x"},
                                {"colon", "192.0.2.7", "a:b:c", "ftp://192.0.2.7/a:b"},
                                {"whole URL", "192.0.2.7", "ftp://a.example:21/x", "ftp://a.example"},
                            });
}

TEST(BuildHTTPSURL, TakesTheHostAlone) {
    ExpectURLs(BuildHTTPSURL, {
                                  {"port", "a.example:443", "", "https://a.example"},
                                  {"name like a URL", "https://a.example:443/x", "", "https://a.example"},
                              });
    tagWebRequest request{};
    CopyText(request.szHost, "a.example:443");
    BuildHTTPSURL(&request);
    EXPECT_STREQ(request.szHost, "a.example") << "the checks see the host without port too";
}

TEST(UrlHelpersTest, StripURLPortCutsAtTheLastColon) {
    const struct {
        const char* szText;
        size_t nStart;
        uint8_t bKeepPath;
        const char* szExpected;
    } rows[] = {
        {"http://a.b:81/x", 7, 0, "http://a.b"},
        {"http://a.b:81/x", 7, 1, "http://a.b/x"},
        {"http://:81", 7, 0, "http://:81"},  // the colon stands at the start index itself
        {"http://", 7, 0, "http://"},        // the start index is the end
        {"a.b:443", 0, 0, "a.b"},
        {"a:1:2/x/y", 0, 1, "a:1/x/y"},
        {"", 0, 0, ""},
        {"a:1", 40, 0, "a:1"},  // starts behind the end
    };
    for (const auto& row : rows) {
        char szText[64] = {};
        CopyText(szText, row.szText);
        g_bKeepPathAfterPort = row.bKeepPath;
        EXPECT_EQ(StripURLPort(szText, row.nStart), 0);
        EXPECT_STREQ(szText, row.szExpected) << row.szText << " from " << row.nStart;
        EXPECT_EQ(g_bKeepPathAfterPort, 0) << row.szText;
    }
    EXPECT_EQ(StripURLPort(nullptr, 0), 2);
}

TEST(UrlHelpersTest, NormaliseURLDropsSchemeAndTail) {
    const std::pair<std::string, std::string> rows[] = {
        {"http://a.b/x/?#\n", "a.b/x"},
        {"ftp://10.0.0.1/pub/", "10.0.0.1/pub"},
        {"http://", ""},
        {"HTTP://a.b", ""},
        {"http:///", "/"},
        {"http://" + std::string(1016, 'a'), std::string(1016, 'a')},
    };
    for (const auto& [url, expected] : rows) {
        tagWebRequest request = {};
        CopyText(request.szURL, url);
        EXPECT_EQ(NormaliseURL(&request), 0);
        EXPECT_EQ(request.szCheckURL, expected) << url;
    }
    EXPECT_EQ(NormaliseURL(nullptr), 2);
}

TEST(UrlHelpersTest, MarkIPHostTakesWhatInetAddrTakes) {
    const std::pair<const char*, uint8_t> rows[] = {
        {"10.1.2.3", 1},  {"127.1", 1}, {"0x7f.1", 1}, {"010.0.0.1", 1},       {"1.2.3.4 x", 1},
        {"1.2.3.4.x", 0}, {"a.b", 0},   {"", 0},       {"255.255.255.255", 0}, {"256.0.0.1", 0},
    };
    for (const auto& [szHost, bExpected] : rows) {
        tagWebRequest request = {};
        request.bIsIPHost = 7;
        CopyText(request.szHost, szHost);
        EXPECT_EQ(MarkIPHost(&request), 0);
        EXPECT_EQ(request.bIsIPHost, bExpected) << szHost;
    }
    EXPECT_EQ(MarkIPHost(nullptr), -1);
    EXPECT_EQ(IsDottedIPv4(nullptr), -1);
}

}  // namespace
