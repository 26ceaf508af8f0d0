#include "category/category_names.h"

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "category/category_engine.h"
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
        {0x10000 + 24, u"as before", "a row's id in the low bits only"},
        {256, u"as before", "0 in the low byte"},
        {24, u"Phishing & Fraud", "not translated"},
        {76, u"Advertisements & Pop-Ups", "the last row in use"},
        {0, u"Unknown", "row 0, not one of the unused rows"},
        {99, u"Unknown", "unused, so the name before stays"},
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
    const CatalogueInUse none = NoCatalogue();
    EXPECT_EQ(NameOf(57), u"as before") << "no mapping at all";
    MapCategories({2, 57, 65535});
    for (const uint8_t nMode : {CATENGINE_LIBRARY, CATENGINE_LIBRARY_KV}) {
        g_bUseCatServer = nMode;
        EXPECT_EQ(NameOf(57), u"ws_catname_57");
        EXPECT_EQ(NameOf(58), u"ws_catname_57") << "not mapped";
        EXPECT_EQ(NameOf(0x10000 + 2), u"ws_catname_57") << "an id of 16 bits only";
        EXPECT_EQ(NameOf(65535), u"ws_catname_65535") << "the last entry";
    }
}

TEST_F(CategoryName, TranslationIsWidenedByteByByte) {
    const CatalogueInUse german("de");
    MapCategories({106});
    EXPECT_EQ(NameOf(106),
              u"\xFFC3\xFF9C"
              u"bersetzungsdienste");
}

TEST_F(CategoryName, NeedsARecord) {
    EXPECT_EQ(SetCategoryName(nullptr), 2);
}

}  // namespace
