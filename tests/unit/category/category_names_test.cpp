#include "category/category_names.h"

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "category/category_engine.h"
#include "category/category_table.h"
#include "category/translate.h"
#include "tests/unit/category/catalogue_in_use.h"

namespace {

class CategoryName : public testing::Test {
  protected:
    CategoryName() { std::u16string(u"as before").copy(request_.wszCategoryName, 9); }
    ~CategoryName() override {
        g_bUseCatServer = CATENGINE_LIBRARY;
        g_WebCatMapping = {0, nullptr};
    }

    void MapCategories(std::initializer_list<uint16_t> ids) {
        for (const uint16_t nId : ids) {
            entries_.resize(entries_.size() + WEBCAT_ENTRY_BYTES, 0xFF);
            std::memcpy(entries_.data() + entries_.size() - WEBCAT_ENTRY_BYTES, &nId, sizeof nId);
        }
        g_WebCatMapping = {static_cast<uint16_t>(ids.size()), entries_.data()};
    }

    std::u16string NameOf(uint32_t nCategory) {
        request_.nCategory = nCategory;
        EXPECT_EQ(SetCategoryName(&request_), 0);
        return request_.wszCategoryName;
    }

    tagWebRequest request_{};
    std::vector<uint8_t> entries_;
};

TEST_F(CategoryName, ServerModeTakesItFromTheTable) {
    const CatalogueInUse german("de");
    const struct {
        uint32_t nCategory;
        std::u16string szName;
        const char* szReason;
    } cases[] = {
        {77, u"as before", "an unused row"},
        {256, u"as before", "0 in the low byte"},
        {24, u"Phishing & Fraud", "not translated"},
        {76, u"Advertisements & Pop-Ups", "the last row in use"},
        {0, u"Unknown", "row 0, not one of the unused rows"},
    };
    for (const int nMode : {2, 255}) {
        g_bUseCatServer = static_cast<uint8_t>(nMode);
        request_ = {};
        std::u16string(u"as before").copy(request_.wszCategoryName, 9);
        for (const auto& c : cases)
            EXPECT_EQ(NameOf(c.nCategory), c.szName) << nMode << ": " << c.szReason;
    }
}

TEST_F(CategoryName, LibraryModesNameOnlyMappedCategories) {
    EXPECT_EQ(SetCategoryName(nullptr), 2);
    const CatalogueInUse german("de");
    EXPECT_EQ(NameOf(106), u"as before") << "no mapping at all";
    MapCategories({2, 106, 65535});
    for (const uint8_t nMode : {CATENGINE_LIBRARY, CATENGINE_LIBRARY_KV}) {
        g_bUseCatServer = nMode;
        EXPECT_EQ(NameOf(65535), u"ws_catname_65535") << "the last entry, without a translation";
        const std::u16string_view widened =
            u"\xFFC3\xFF9C"
            u"bersetzungsdienste";
        EXPECT_EQ(NameOf(106), widened);
        EXPECT_EQ(NameOf(58), widened) << "not mapped";
        EXPECT_EQ(NameOf(0x10000 + 2), widened) << "an id of 16 bits only";
    }
}

// A name that stood twice, or an alias that hides behind a name, would make a list another category's.
TEST(CategoryTable, EveryNameFindsItsOwnRow) {
    for (const tagCategory& category : CATEGORY_TABLE) {
        EXPECT_EQ(FindCategory(category.szName), category.nId) << category.szName;
    }
    for (const tagCategoryAlias& alias : CATEGORY_ALIASES) {
        EXPECT_LT(alias.nId, CATEGORY_COUNT) << alias.szListName;
        EXPECT_EQ(FindCategory(alias.szListName), alias.nId) << alias.szListName;
    }
}

TEST(CategoryTable, NamesAreFoundHoweverTheyAreWritten) {
    const std::pair<const char*, int> cases[] = {
        {"job_search", 37}, {"PEER TO PEER", 26}, {"Advertisements & Pop-Ups", 76}, {"gambling/", 51},
        {"", NO_CATEGORY},  {"&", NO_CATEGORY},   {"gambl\xEFng", NO_CATEGORY},
    };
    for (const auto& [szName, nId] : cases)
        EXPECT_EQ(FindCategory(szName), nId) << szName;
}

TEST(CategoryTable, NumbersMapBothWays) {
    EXPECT_EQ(RealToLogical(76), 76);
    EXPECT_EQ(RealToLogical(77), CATEGORY_UNKNOWN);
    EXPECT_EQ(RealToLogical(65535), CATEGORY_UNKNOWN);
    for (const tagCategory& category : CATEGORY_TABLE)
        EXPECT_EQ(LibraryIdToReal(RealToLibraryId(category.nId)), category.nId);
    for (const uint16_t nNone : {0, 2, 3, 99, 177, 356, 65535})
        EXPECT_EQ(LibraryIdToReal(nNone), NO_CATEGORY) << nNone;
}

std::string EngineKey(size_t nCategory) {
    return "ws_catname_" + std::to_string(nCategory);
}

TEST(TranslateText, EnglishCategoryNamesAreThoseOfTheTable) {
    const CatalogueInUse english("en_US.utf8");
    for (size_t i = 0; i < CATEGORY_COUNT; ++i) {
        EXPECT_STREQ(TranslateText(EngineKey(100 + i).c_str()), CategoryNameTable[i].szName);
    }
    EXPECT_STREQ(TranslateText("ws_catname_177"), "ws_catname_177");
}

// A key that is missing in one language would show up in reports as it is; a text that is too long would be
// cut, perhaps inside a character.
TEST(TranslateText, EveryLanguageHasATextForEachKeyThatFits) {
    std::vector<std::pair<std::string, size_t>> keys = {{"Blocked", 15}};
    for (const char* szReason : {"blocklisturl", "harmfulurl", "fradulanturl", "categoryurl"})
        keys.push_back({std::string("ws_rpt_") + szReason, 254});
    for (const char* szName : {"ws_catname_2", "ws_catname_3", "Phishing", "Malicious", "Custom blocked"})
        keys.push_back({szName, 99});
    for (size_t i = 0; i < CATEGORY_COUNT; ++i)
        keys.push_back({EngineKey(100 + i), 99});

    for (const std::string_view szLanguage : {"en_US.utf8", "de"}) {
        const CatalogueInUse catalogue(szLanguage.data());
        for (const auto& [szKey, nMaxBytes] : keys) {
            SCOPED_TRACE(std::string(szLanguage) + ": " + szKey);
            const std::string_view szText = TranslateText(szKey.c_str());
            const bool bIsItsOwnKey = szLanguage == "en_US.utf8" && !szKey.starts_with("ws_");
            EXPECT_EQ(szText == szKey, bIsItsOwnKey);
            EXPECT_LE(szText.size(), nMaxBytes);
        }
    }
}

}  // namespace
