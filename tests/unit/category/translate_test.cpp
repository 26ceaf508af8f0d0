#include "category/translate.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "category/category_names.h"
#include "category/category_table.h"
#include "tests/unit/category/catalogue_in_use.h"

namespace {

std::string EngineKey(size_t nCategory) {
    return "ws_catname_" + std::to_string(nCategory);
}

TEST(TranslateText, WithoutCatalogueTheKeyIsTheText) {
    const CatalogueInUse none = NoCatalogue();
    EXPECT_STREQ(TranslateText("ws_catname_57"), "ws_catname_57");
    EXPECT_STREQ(TranslateText("Custom blocked"), "Custom blocked");
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
    struct tagKey {
        std::string szKey;
        size_t nMaxBytes;
    };
    std::vector<tagKey> keys = {
        {"ws_rpt_blocklisturl", 254},
        {"ws_rpt_harmfulurl", 254},
        {"ws_rpt_fradulanturl", 254},
        {"ws_rpt_categoryurl", 254},
        {"ws_catname_2", 99},
        {"ws_catname_3", 99},
        {"Blocked", 15},
        {"Phishing", 99},
        {"Malicious", 99},
        {"Custom blocked", 99},
    };
    for (size_t i = 0; i < CATEGORY_COUNT; ++i)
        keys.push_back({EngineKey(100 + i), 99});

    for (const std::string_view szLanguage : {"en_US.utf8", "de"}) {
        const CatalogueInUse catalogue(szLanguage.data());
        for (const tagKey& key : keys) {
            SCOPED_TRACE(std::string(szLanguage) + ": " + key.szKey);
            const std::string_view szText = TranslateText(key.szKey.c_str());
            const bool bIsItsOwnKey = szLanguage == "en_US.utf8" && !key.szKey.starts_with("ws_");
            EXPECT_EQ(szText == key.szKey, bIsItsOwnKey);
            EXPECT_LE(szText.size(), key.nMaxBytes);
        }
    }
}

}  // namespace
