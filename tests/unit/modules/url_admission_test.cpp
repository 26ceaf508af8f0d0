#include "modules/urlmap/url_admission.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(URLAdmission, TakesNamesAndNothingWider) {
    const std::string label64(64, 'a');
    const struct {
        std::string text;
        int nResult;
        const char* szCanonical;  // of what is taken
    } cases[] = {
        {" a.example\r\n", ADMIT_OK, "a.example/"},
        {"*.a.example", ADMIT_OK, "a.example/"},
        {"http://a.example/x?y", ADMIT_OK, "a.example/x?y"},
        {"user.github.io/p", ADMIT_OK, "user.github.io/p"},
        {"a.unknown-suffix", ADMIT_OK, "a.unknown-suffix/"},
        {"192.0.2.1", ADMIT_OK, "192.0.2.1/"},
        {"http://192.0.2.1/8", ADMIT_OK, "192.0.2.1/8"},
        {"http://3221225985/x", ADMIT_OK, "192.0.2.1/x"},
        {"a.example:8080", ADMIT_OK, "a.example/"},
        {"", ADMIT_EMPTY, ""},
        {"*://*/*", ADMIT_EVERYTHING, ""},
        {".", ADMIT_EVERYTHING, ""},
        {"*.com", ADMIT_SINGLE_LABEL, ""},
        {"http://localhost/x", ADMIT_SINGLE_LABEL, ""},
        {"*.Co.Uk.", ADMIT_PUBLIC_SUFFIX, ""},
        {"http://github.io/index.html", ADMIT_PUBLIC_SUFFIX, ""},
        {"10.0.0.0/8", ADMIT_RANGE, ""},
        {"10.0.0.1-10.0.0.9", ADMIT_RANGE, ""},
        {"10.0.0.*", ADMIT_RANGE, ""},
        {"0/0", ADMIT_RANGE, ""},
        {"http://127.1/", ADMIT_SPECIAL, ""},
        {"255.255.255.255", ADMIT_SPECIAL, ""},
        {"a*.example", ADMIT_NOT_A_NAME, ""},
        {"..a.example", ADMIT_NOT_A_NAME, ""},
        {"two words.example", ADMIT_NOT_A_NAME, ""},
        {"1.2.3.4.5", ADMIT_NOT_A_NAME, ""},
        {"[2001:db8::1]", ADMIT_NOT_A_NAME, ""},
        {label64 + ".example", ADMIT_NOT_A_NAME, ""},
        {"ws://a.example", ADMIT_SCHEME, ""},
        {"a.example/" + std::string(2000, 'a'), ADMIT_TOO_LONG, ""},
        {"a.example/?u=http://b.example", ADMIT_COLON, ""},
        {"http://a.example:8080/x", ADMIT_PORT_PATH, ""},
        {"b\u00FCcher.example", ADMIT_FOREIGN_NAME, ""},
        {"a.example/b\u00FCcher", ADMIT_FOREIGN_PATH, ""},
        {"a.example/b%C3%BCcher", ADMIT_OK, "a.example/b%C3%BCcher"},
    };
    tagSuffixList suffixes = {};
    ASSERT_TRUE(LoadSuffixList(&suffixes));
    for (const auto& c : cases) {
        tagCanonicalURL url;
        const int nResult = AdmitURL(suffixes, c.text, &url);
        EXPECT_EQ(nResult, c.nResult) << c.text << ": " << AdmissionText(nResult);
        EXPECT_STREQ(nResult == ADMIT_OK ? url.szText : "", c.szCanonical) << c.text;
    }
    FreeSuffixList(&suffixes);
    EXPECT_EQ(suffixes.pList, nullptr);
}

}  // namespace
