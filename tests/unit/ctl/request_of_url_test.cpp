// From a URL to the record that the daemon makes of the browser's request for it.
#include "ctl/request_of_url.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <memory>

#include "ctl/output.h"
#include "inspect/url_helpers.h"

namespace {

TEST(RequestOfURL, IsWhatTheDaemonWouldExtract) {
    const struct {
        const char* szURL;
        uint8_t nProtocol;  // PROTO_NONE: not judged
        const char* szHost;
        const char* szBuiltURL;
    } rows[] = {
        {"http://a.example", PROTO_HTTP, "a.example", "http://a.example/"},
        {"http://user:pw@a.example:81/p?q#f", PROTO_HTTP, "a.example", "http://a.example/p?q"},
        {"HTTP://a.example/p", PROTO_HTTP, "a.example", "http://a.example/p"},
        {"http://a.example?q", PROTO_HTTP, "a.example", "http://a.example/?q"},
        {"http://a.example/x:y", PROTO_HTTP, "a.example", "http://a.example/x"},
        {"https://a.example:443/p", PROTO_HTTPS, "a.example", "https://a.example"},
        {"https://a/", PROTO_NONE, "", ""},
        {"ftp://a.example/pub/file", PROTO_FTP, "192.0.2.7", "ftp://192.0.2.7/pub/file"},
        {"ftp://a.example/pub/", PROTO_FTP, "192.0.2.7", "ftp://192.0.2.7/pub/"},
        {"http://a.example/RETR/x", PROTO_FTP, "192.0.2.7", "ftp://192.0.2.7/x"},
    };
    for (const auto& row : rows) {
        const auto pRequest = std::make_unique<tagWebRequest>();
        const bool bJudged = BuildRequest(SplitURL(row.szURL), inet_addr("192.0.2.7"), *pRequest);
        EXPECT_EQ(bJudged, row.nProtocol != PROTO_NONE) << row.szURL;
        EXPECT_EQ(pRequest->nProtocol, row.nProtocol) << row.szURL;
        EXPECT_STREQ(pRequest->szHost, row.szHost) << row.szURL;
        EXPECT_STREQ(pRequest->szURL, row.szBuiltURL);
    }
}

TEST(RequestOfURL, RefusesWhatIsNoURL) {
    for (const std::string url : {"", "a.example", "gopher://a.example/", "http://", "http:///p",
                                  "http://:80/", "http://a b/", "http://[::1]/", "http://2001:db8::1"}) {
        EXPECT_THROW(SplitURL(url), CtlError) << url;
    }
    EXPECT_THROW(SplitURL("http://a.example/" + std::string(70000, 'p')), CtlError);
}

}  // namespace
