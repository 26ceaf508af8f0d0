#include "common/text_convert.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(TextConvert, WidensBytesAsSignedValues) {
    char16_t wide[16] = u"<<<<<<<<<<<<";
    EXPECT_EQ(CopySZToWSZ(wide, "a\x7F\x80\xE9"), wide);
    EXPECT_EQ(std::u16string(wide), u"a\x7F\xFF80\xFFE9");
    EXPECT_EQ(wide[5], u'<');
    EXPECT_EQ(CatSZToWSZ(wide, "\xFFz"), wide);
    EXPECT_EQ(std::u16string(wide), u"a\x7F\xFF80\xFFE9\xFFFFz");
}

TEST(TextConvert, NarrowsToLowBytes) {
    char text[16] = "<<<<<<<<<<<<";
    EXPECT_EQ(CopyWSZToSZ(text, u"a\x20AC\xFFE9"), text);
    EXPECT_STREQ(text, "a\xAC\xE9");
    EXPECT_EQ(text[4], '<');
    EXPECT_EQ(CatWSZToSZ(text, u"b\x0100z"), text);
    EXPECT_EQ(std::string(text, 7), std::string({'a', '\xAC', '\xE9', 'b', '\0', 'z', '\0'}));
}

}  // namespace
