// libwebcat.so, linked by name as the daemon links it.
#include <gmock/gmock.h>

#include <cstring>
#include <set>
#include <vector>

#include "category/category_engine.h"
#include "category/category_table.h"
#include "tests/unit/modules/list_folder.h"

namespace {

using testing::ElementsAre;

class WebCatTest : public ListFolderTest {
  protected:
    void TearDown() override {
        WCDeinit();
        ListFolderTest::TearDown();
    }
    static std::vector<uint16_t> Ask(const char* szHost, const char* szURL) {
        uint16_t categories[5];
        uint16_t nCount = 0;
        if (WCGetURLCategories(szHost, szURL, categories, &nCount) != 0) return {0};
        return {categories, categories + nCount};
    }
};

TEST_F(WebCatTest, AnswersWithLibraryIdsLongestMatchFirst) {
    WriteThreatList(PHISHING_LIST, {{"both.example", "P"}});
    WriteThreatList(HARMFUL_LIST, {{"both.example", "H"}});
    WriteCategoryList({{"both.example", 51},
                       {"mail.a.example", 1},
                       {"a.example", 15},
                       {"a.example/games/", 50},
                       {"odd.example", 77},
                       {"odd.example", 76}});
    ASSERT_EQ(WCInit(), 0);
    const struct {
        const char* szURL;
        std::vector<uint16_t> ids;
        const char* szWhy;
    } cases[] = {
        {"http://both.example/x", {3, 2, 151}, "the threats first"},
        {"https://mail.a.example", {101, 115}, "a host and its parent"},
        {"http://a.example/games/x?y", {150, 115}, "a folder and its host"},
        {"http://odd.example", {176}, "a number that is no category is passed over"},
        {"http://unlisted.example", {100}, "Unknown"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Ask("ignored.example", c.szURL), c.ids) << c.szWhy;
    }
    EXPECT_THAT(Ask("a.example", ""), ElementsAre(115)) << "the host where there is no URL";
    uint16_t categories[5];
    uint16_t nCount = 7;
    EXPECT_EQ(WCGetKVURLCategories("a.example", "", categories, &nCount), 0);
    EXPECT_EQ(categories[0], 115);
    nCount = 7;
    EXPECT_NE(WCGetURLCategories("a.example", "http://a.example", nullptr, &nCount), 0);
    EXPECT_EQ(nCount, 7);
}

TEST_F(WebCatTest, FillsTheDaemonsTableWhileItIsUp) {
    for (int nTimes = 0; nTimes < 2; ++nTimes) {
        ASSERT_EQ(WCInit(), 0);
        ASSERT_EQ(WCInit(), 0) << "a second start is a fresh one";
        std::set<uint16_t> ids, expected = {2, 3};
        for (uint16_t nId = 100; nId <= 176; ++nId)
            expected.insert(nId);
        for (size_t n = 0; n < g_WebCatMapping.nCount; ++n) {
            uint16_t nId = 0;
            std::memcpy(&nId, g_WebCatMapping.pEntries + n * WEBCAT_ENTRY_BYTES, sizeof nId);
            ids.insert(nId);
        }
        EXPECT_EQ(ids, expected);
        EXPECT_EQ(WCDeinit(), 0);
        EXPECT_TRUE(g_WebCatMapping.nCount == 0 && g_WebCatMapping.pEntries == nullptr);
    }
}

TEST_F(WebCatTest, ARefreshTakesNewLists) {
    EXPECT_EQ(PerformCacheRefresh(), 0);
    EXPECT_TRUE(g_WebCatMapping.nCount == 0);
    ASSERT_EQ(WCInit(), 0);
    WriteCategoryList({{"a.example", 15}});
    EXPECT_THAT(Ask("a.example", "http://a.example"), ElementsAre());
    EXPECT_EQ(PerformCacheRefresh(), 0);
    EXPECT_THAT(Ask("a.example", "http://a.example"), ElementsAre(115));
}

}  // namespace
