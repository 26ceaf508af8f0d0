#include "ctl/visible_text.h"

#include <gtest/gtest.h>

namespace {

TEST(VisibleText, ShowsWhatHasAGlyphAndEscapesTheRest) {
    const struct {
        std::string text, inUtf8, inAscii;
    } rows[] = {
        {"a.example/~x", "a.example/~x", "a.example/~x"},
        {"bücher", "bücher", "b\\xC3\\xBCcher"},
        {"e\u0301", "e\u0301", "e\\xCC\\x81"},                      // combining accent
        {"\x1b]0;x\x07", "\\x1B]0;x\\x07", "\\x1B]0;x\\x07"},       // sets a window title
        {"\u009b31m", "\\xC2\\x9B31m", "\\xC2\\x9B31m"},            // 8-bit escape sequence
        {"\u202egpj", "\\xE2\\x80\\xAEgpj", "\\xE2\\x80\\xAEgpj"},  // writes backwards
        {"a\u200bb", "a\\xE2\\x80\\x8Bb", "a\\xE2\\x80\\x8Bb"},     // takes no room
        {"\xff\xc0\xaf", "\\xFF\\xC0\\xAF", "\\xFF\\xC0\\xAF"},     // overlong
        {"\xed\xa0\x80", "\\xED\\xA0\\x80", "\\xED\\xA0\\x80"},     // surrogate
        {std::string("\0", 1), "\\x00", "\\x00"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(VisibleText(row.text, true), row.inUtf8);
        EXPECT_EQ(VisibleText(row.text, false), row.inAscii);
    }
}

TEST(VisibleText, IsCutToColumnsNotToBytes) {
    const struct {
        const char* szText;
        size_t nColumns;
        bool bUtf8;
        const char* szExpected;
    } rows[] = {
        {"abcdef", 6, true, "abcdef"},
        {"abcdef", 5, true, "abcd…"},
        {"abcdef", 5, false, "ab..."},
        {"abcdef", 2, false, ".."},
        {"abcdef", 0, true, ""},
        {"äöüß", 3, true, "äö…"},
        {"日本語", 6, true, "日本語"},
        {"日本語", 5, true, "日本…"},
        {"日本語", 4, true, "日…"},  // half a character does not fit
        {"e\u0301e\u0301e\u0301", 2, true, "e\u0301…"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(FitText(row.szText, row.nColumns, row.bUtf8), row.szExpected) << row.szText << row.nColumns;
}

}  // namespace
