// Hostile URLs from requests and from lists: whatever has a canonical form is well-formed and reaches itself.
#include <algorithm>
#include <cstring>

#include "modules/urlmap/url_admission.h"
#include "modules/urlmap/url_expressions.h"
#include "tests/fuzz/fuzz_segment.h"

namespace {

const tagSuffixList& Suffixes() {
    static const tagSuffixList s_suffixes = [] {
        tagSuffixList suffixes = {};
        Require(LoadSuffixList(&suffixes) == 1);
        return suffixes;
    }();
    return s_suffixes;
}

void CheckForm(const tagCanonicalURL& url) {
    Require(url.nHost > 0 && url.nHost <= CANONICAL_HOST_MAX);
    Require(url.nHost < url.nPath && url.nPath <= url.nLength && url.nLength <= CANONICAL_URL_MAX);
    Require(url.szText[url.nHost] == '/' && url.szText[url.nLength] == '\0');
    Require(url.nPath == url.nLength || url.szText[url.nPath] == '?');
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    const std::string_view text(reinterpret_cast<const char*>(pData), nSize);
    tagCanonicalURL url;
    tagURLKeys keys;
    const uint32_t nKeys = MakeURLKeys(text, &keys);
    Require(nKeys <= URL_EXPRESSIONS_MAX);
    if (CanonicaliseURL(text, &url) == CANONICAL_OK) {
        CheckForm(url);
        Require(nKeys > 0);
        const uint64_t nOwn = URLKey({url.szText, url.nLength});
        Require(nSize > REQUEST_URL_MAX || std::count(keys.nKeys, keys.nKeys + nKeys, nOwn) == 1);
    }
    if (AdmitURL(Suffixes(), text, &url) == ADMIT_OK) {
        CheckForm(url);
        Require(std::strlen(url.szText) > 3 && std::strchr(url.szText, '.') < url.szText + url.nHost);
    }
    return 0;
}
