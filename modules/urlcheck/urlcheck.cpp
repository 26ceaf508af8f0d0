// urlcheck.so: whether a URL leads to a phishing or to a harmful site, by the lists that were imported. A
// list that is missing or damaged is an empty one; new lists are taken when the module is loaded again. The
// daemon loads and unloads it while no scan runs; scans come from all workers at once. Nothing is printed.
#include <pthread.h>

#include <cstring>
#include <string_view>

#include "common/copy_text.h"
#include "common/export.h"
#include "modules/urlmap/list_files.h"
#include "modules/urlmap/url_expressions.h"
#include "modules/urlmap/url_map.h"

namespace {

tagURLMap g_Phishing;
tagURLMap g_Harmful;

// Of the last URL. With both protections on the daemon asks for each twice, for phishing and for harm, and
// the keys cost most. Never waited for: who finds it taken, or another's URL in it, computes the keys
// himself.
struct tagLastKeys {
    pthread_mutex_t lock;
    char szURL[REQUEST_URL_MAX + 1];
    tagURLKeys keys;
};
tagLastKeys s_Last = {PTHREAD_MUTEX_INITIALIZER, {}, {}};

int32_t FindURL(const tagURLMap& map, const char* szURL);
void KeysOf(std::string_view url, tagURLKeys* pKeys);

}  // namespace

// Opens the lists. Returns 1: the scanner is ready.
extern "C" WEBSEC_API int InitURLScan() {
    CloseURLMap(&g_Phishing);
    CloseURLMap(&g_Harmful);
    (void)OpenListFile(&g_Phishing, PHISHING_LIST, URLMAP_THREATS);
    (void)OpenListFile(&g_Harmful, HARMFUL_LIST, URLMAP_THREATS);
    return 1;
}

// Closes the lists; scans find nothing until they are opened again. Returns 1: the scanner has shut down.
extern "C" WEBSEC_API int DeinitURLScan() {
    CloseURLMap(&g_Phishing);
    CloseURLMap(&g_Harmful);
    return 1;
}

// 1 when the URL (with or without scheme) is a phishing site, else 0.
extern "C" WEBSEC_API int ScanURLForAPSH(const char* szURL) {
    return FindURL(g_Phishing, szURL) >= 0;
}

// 1 when the URL is harmful; szThreat, a buffer of 256 bytes, then holds the threat's name. Else 0, and
// szThreat is as it was.
extern "C" WEBSEC_API int ScanURLForBP(const char* szURL, char* szThreat) {
    const int32_t nText = FindURL(g_Harmful, szURL);
    if (nText < 0) return 0;
    if (szThreat) {
        const std::string_view name = URLMapText(g_Harmful, static_cast<uint32_t>(nText));
        static_assert(URLMAP_TEXT_BYTES_MAX < 256);
        std::memcpy(szThreat, name.data(), name.size());
        szThreat[name.size()] = '\0';
    }
    return 1;
}

namespace {

// The number of the text of the longest match, or -1.
int32_t FindURL(const tagURLMap& map, const char* szURL) {
    if (!szURL || map.nNames == 0) return -1;
    tagURLKeys keys;
    KeysOf({szURL, strnlen(szURL, REQUEST_URL_MAX)}, &keys);
    return FindURLKeys(map, keys);
}

void KeysOf(std::string_view url, tagURLKeys* pKeys) {
    if (pthread_mutex_trylock(&s_Last.lock) != 0) {
        MakeURLKeys(url, pKeys);
        return;
    }
    if (url != s_Last.szURL) {
        MakeURLKeys(url, &s_Last.keys);
        CopyText(s_Last.szURL, url);
    }
    *pKeys = s_Last.keys;
    pthread_mutex_unlock(&s_Last.lock);
}

}  // namespace
