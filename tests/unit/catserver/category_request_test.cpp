#include "catserver/category_request.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

std::vector<uint8_t> Request(std::string_view szURL) {
    CategoryRequest request = {{1, 4, 10000}, {}};
    szURL.copy(request.szURL, sizeof request.szURL);
    const auto* pBytes = reinterpret_cast<const uint8_t*>(&request);
    return {pBytes, pBytes + sizeof request};
}

TEST(CategoryRequestTest, TakesOnlyWholeRequests) {
    const std::string longest(CATSERVER_URL_BYTES - 1, 'u');
    for (const std::string& szURL : {std::string(), std::string("http://a.example/"), longest}) {
        const auto bytes = Request(szURL);
        std::string_view szFound = "?";
        EXPECT_TRUE(ParseCategoryRequest(bytes, &szFound));
        EXPECT_EQ(szFound, szURL);
    }
    std::vector<std::vector<uint8_t>> bad = {{}, Request(longest + "u")};
    for (const size_t nChanged : {0, 3, 4, 8, 9, 11}) {
        bad.push_back(Request("http://a.example/"));
        bad.back()[nChanged] ^= 0x80;
    }
    bad.push_back(Request("http://a.example/"));
    bad.back().pop_back();
    bad.push_back(Request("http://a.example/"));
    bad.back().push_back(0);
    for (const auto& bytes : bad) {
        std::string_view szFound = "?";
        EXPECT_FALSE(ParseCategoryRequest(bytes, &szFound)) << bytes.size();
        EXPECT_EQ(szFound, "?");
    }
}

TEST(CategoryRequestTest, RepliesWithTheIdsInTheirOrder) {
    const struct {
        std::vector<uint16_t> ids;
        std::string szText;
    } cases[] = {
        {{}, "0"},
        {{51, 3, 22}, "51,3,22"},
        {std::vector<uint16_t>(6, 65535), "65535,65535,65535,65535,65535"},
    };
    for (const auto& c : cases) {
        uint8_t reply[CATEGORY_REPLY_MAX];
        const size_t nReply = MakeCategoryReply(c.ids, reply);
        std::string expected(12, '\0');
        expected[4] = static_cast<char>(c.szText.size());
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(reply), nReply), expected + c.szText);
    }
}

}  // namespace
