#include "modules/store/store_text.h"

#include <gtest/gtest.h>

#include <string>

namespace {
std::string Decode(std::u16string_view wide, size_t nSize = 64) {
    std::string out(nSize, '#');
    DecodeWideText(out, wide);
    return out.c_str();
}

TEST(StoreText, DecodesWideFields) {
    struct {
        const char* szReason;
        std::u16string wide;
        const char* szText;
    } const rows[] = {
        {"plain", u"a.example/x", "a.example/x"},
        {"ends at its NUL", std::u16string(u"ab\0cd", 5), "ab"},
        {"UTF-8 bytes, widened as signed values", u"caf\xFFC3\xFFA9", "caf\xC3\xA9"},
        {"real UTF-16", u"caf\u00E9 \u20AC", "caf\xC3\xA9 \xE2\x82\xAC"},
        {"a byte that is no UTF-8", u"/\xFFFF\xFFE9x", "/%FF%E9x"},
        {"a sequence cut by the end", u"\xFFE2\xFF82", "%E2%82"},
        {"an overlong slash", u"\xFFC0\xFFAF", "%C0%AF"},
        {"terminal escapes, also the 8-bit one", u"\x1B[2J\x7F\xFFC2\xFF9B", "%1B[2J%7F%C2%9B"},
        {"half a surrogate pair", u"\xD83D", "%ED%A0%BD"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Decode(row.wide), row.szText) << row.szReason;
}

TEST(StoreText, CutsAtACharacter) {
    EXPECT_EQ(Decode(u"ab\xFFC3\xFFA9", 4), "ab");
    EXPECT_EQ(Decode(u"ab\xFFC3\xFFA9", 5), "ab\xC3\xA9");
    EXPECT_EQ(Decode(u"a\x01", 4), "a");
    EXPECT_EQ(Decode(std::u16string(1024, u'\xFFFF'), DecodedSize(1025)).size(), 3 * 1024u);
}
}  // namespace
