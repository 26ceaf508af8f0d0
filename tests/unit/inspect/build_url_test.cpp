#include "inspect/build_url.h"

#include <gtest/gtest.h>

#include <string>

#include "common/copy_text.h"

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

}  // namespace
