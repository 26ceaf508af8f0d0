#include "policy/pattern_match.h"

#include <cstdlib>
#include <string>

#include "common/copy_text.h"
#include "tests/support/policy_fixture.h"

namespace {

class PatternMatchTest : public PolicyTest {
  protected:
    void TearDown() override {
        FreePatternTable(g_ExclusionPatterns);
        FreePatternTable(g_TrustedURLPatterns);
        PolicyTest::TearDown();
    }
};

void SetPatterns(tagPatternTable& table, std::initializer_list<std::string_view> patterns) {
    FreePatternTable(table);
    table.pPatterns = static_cast<char(*)[PATTERN_BYTES]>(std::calloc(patterns.size(), PATTERN_BYTES));
    for (const std::string_view pattern : patterns) {
        CopyText(table.pPatterns[table.nCount++], pattern);
    }
}

tagWebRequest Request(std::string_view checkURL) {
    tagWebRequest request = {};
    CopyText(request.szCheckURL, checkURL);
    return request;
}

TEST_F(PatternMatchTest, PatternsCoverURLs) {
    const struct {
        const char* szPattern;
        const char* szCheckURL;
        bool bExcluded, bTrusted;
    } rows[] = {
        {"a.example/", "a.example", true, true},
        {"a.example", "a.example?q", true, true},
        {"a.example", "a.example#f", true, true},
        {"a.example", "a.examples", false, false},
        {"a.example", "a.example:81", false, false},
        {"a.example//", "a.example/", true, true},  // one "/" is not part of it, the other is
        {"a.example//", "a.example", false, false},
        {"A.example", "a.Example", true, false},
        {"*a.example", "www.a.example/p", true, true},
        {"*a.example", "ba.example", true, true},
        {"*a.example", "a.example.b/a.example", false, false},  // the first occurrence decides
        {"", "", true, true},
        {"*", "/p", true, true},
        {"", "a.example", false, false},
        {"*", "a.example/p", false, false},  // the empty text occurs first at the start
        {"**", "a*", true, true},            // only the first "*" is special
    };
    for (const auto& row : rows) {
        SetPatterns(g_ExclusionPatterns, {"never.example", row.szPattern});
        SetPatterns(g_TrustedURLPatterns, {row.szPattern, "never.example"});
        tagWebRequest excluded = Request(row.szCheckURL);
        tagWebRequest trusted = Request(row.szCheckURL);
        EXPECT_EQ(CheckExclusionList(&excluded), 0);
        EXPECT_EQ(CheckTrustedURLs(&trusted), 0);
        EXPECT_EQ(excluded.nResult, row.bExcluded ? RESULT_EXCLUDED : RESULT_NONE)
            << row.szPattern << " on " << row.szCheckURL;
        EXPECT_EQ(trusted.nResult, row.bTrusted ? RESULT_SCAN_TRUSTED : RESULT_NONE)
            << row.szPattern << " on " << row.szCheckURL;
    }
    EXPECT_EQ(CheckExclusionList(nullptr), 2);
    EXPECT_EQ(CheckTrustedURLs(nullptr), 2);
}

}  // namespace
