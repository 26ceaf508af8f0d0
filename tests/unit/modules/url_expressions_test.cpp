#include "modules/urlmap/url_expressions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

TEST(URLExpressions, BringsURLsIntoOneForm) {
    const struct {
        const char* szURL;
        const char* szCanonical;
        const char* szWhy;
    } cases[] = {
        {"HTTP://User:pw@A.Example:8080/X", "a.example/X",
         "scheme, user and port go; only the host is folded"},
        {"https://a.example.../p#part", "a.example/p", "trailing dots and fragment"},
        {"a.example/p?a//b", "a.example/p?a//b", "but not in the query"},
        {"a.example/p?q=/", "a.example/p?q=", "as requests are trimmed"},
        {"a.example/%7e%41%2f%c3", "a.example/~A%2F%C3", "escapes decoded or in capitals"},
        {"a.example/%2541%", "a.example/%2541%", "decoded once; a lone percent stands for itself"},
        {"a.example/%4", "a.example/%4", "an escape cut short"},
        {"0x7f.1/p", "127.0.0.1/p", "numeric hosts are addresses"},
        {"1.2.3.4.5", "1.2.3.4.5/", "five parts are no address"},
        {"a.example/?u=http://b", "a.example/?u=http://b", "a scheme further on is none"},
    };
    for (const auto& c : cases) {
        tagCanonicalURL url;
        ASSERT_EQ(CanonicaliseURL(c.szURL, &url), CANONICAL_OK) << c.szURL;
        EXPECT_STREQ(url.szText, c.szCanonical) << c.szWhy;
        EXPECT_EQ(url.nLength, std::string(c.szCanonical).size()) << c.szWhy;
    }
}

TEST(URLExpressions, ListedNameReachesRequest) {
    const std::string longURL = "a.example/p/" + std::string(12000, 'q');
    const struct {
        std::string listed;
        std::string request;
        bool bReached;
        const char* szWhy;
    } cases[] = {
        {"a.example", "www.a.example", true, "hosts below a name"},
        {"a.example", "xa.example", false, "labels are whole"},
        {"4.d.e.f.example", "1.2.3.4.d.e.f.example", true, "a parent of five labels"},
        {"3.4.d.e.f.example", "1.2.3.4.d.e.f.example", false, "a parent of six labels"},
        {"1.2.3.4.d.e.f.example", "1.2.3.4.d.e.f.example", true, "the whole host, however long"},
        {"example", "a.example", false, "a single label is no parent"},
        {"3.4", "1.2.3.4", false, "an address has none"},
        {"a.example/d/", "a.example/d/e", true, "below a folder"},
        {"a.example/d/", "a.example/d", true, "the folder itself, its slash trimmed"},
        {"a.example/1/2/3/4/5/", "a.example/1/2/3/4/5", true, "a deep one as well"},
        {"a.example/d", "a.example/d?q", true, "a document with any query"},
        {"a.example/1/2/3/", "a.example/1/2/3/4/5/6", true, "the fourth leading folder"},
        {"a.example/1/2/3/4/", "a.example/1/2/3/4/5/6", false, "the fifth"},
        {"a.example/p/", longURL, true, "a URL longer than any request"},
    };
    for (const auto& c : cases) {
        tagCanonicalURL listed;
        ASSERT_EQ(CanonicaliseURL(c.listed, &listed), CANONICAL_OK);
        tagURLKeys keys;
        MakeURLKeys(c.request, &keys);
        const bool bReached = std::count(keys.nKeys, keys.nKeys + keys.nCount, URLKey(listed.szText)) != 0;
        EXPECT_EQ(bReached, c.bReached) << c.szWhy;
    }
}

// The order decides which of several matches names the threat. The first key is the digest's beginning as any
// SHA-256 program computes it.
TEST(URLExpressions, LongestFirstAndNoneTwice) {
    tagURLKeys keys;
    ASSERT_EQ(MakeURLKeys("a.b.example/1/2?q", &keys), 8u);
    const char* const ORDER[] = {"a.b.example/1/2?q", "a.b.example/1/2", "a.b.example/1/", "a.b.example/",
                                 "b.example/1/2?q",   "b.example/1/2",   "b.example/1/",   "b.example/"};
    for (size_t n = 0; n < std::size(ORDER); ++n) {
        EXPECT_EQ(keys.nKeys[n], URLKey(ORDER[n])) << ORDER[n];
    }
    EXPECT_EQ(URLKey("abc"), 0xBA7816BF8F01CFEAu);

    EXPECT_EQ(MakeURLKeys("1.2.3.4.5.6.7.example/a/b/c/d/e?q", &keys), URL_EXPRESSIONS_MAX);
    std::vector<uint64_t> sorted(keys.nKeys, keys.nKeys + keys.nCount);
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(std::adjacent_find(sorted.begin(), sorted.end()), sorted.end());
}

}  // namespace
