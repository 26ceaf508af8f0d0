#include "inspect/url_helpers.h"

#include <arpa/inet.h>

#include <cstring>
#include <string_view>

#include "common/copy_text.h"

constinit thread_local uint8_t g_bKeepPathAfterPort = 0;

int StripURLPort(char* szText, size_t nStart) {
    if (!szText) return 2;
    const std::string_view text(szText);
    const size_t nColon = text.rfind(':');
    if (nColon == std::string_view::npos || nColon <= nStart) return 0;

    std::string_view kept;
    if (g_bKeepPathAfterPort) {
        g_bKeepPathAfterPort = 0;
        const size_t nPath = text.find('/', nColon);
        if (nPath != std::string_view::npos) kept = text.substr(nPath);
    }
    if (!kept.empty()) std::memmove(szText + nColon, kept.data(), kept.size());
    szText[nColon + kept.size()] = '\0';
    return 0;
}

int NormaliseURL(tagWebRequest* pRequest) {
    if (!pRequest) return 2;
    constexpr std::string_view SCHEMES[] = {"http://", "https://", "ftp://"};
    const std::string_view url(pRequest->szURL);
    std::string_view rest;
    for (const std::string_view scheme : SCHEMES) {
        if (!url.starts_with(scheme)) continue;
        rest = url.substr(scheme.size());
        break;
    }
    CopyText(pRequest->szCheckURL, rest);
    (void)TrimURLTail(pRequest->szCheckURL, rest.size());
    return 0;
}

int TrimURLTail(char* szText, size_t nLength) {
    if (!szText || nLength == 0) return 2;
    constexpr std::string_view SEPARATORS = "/?#\n";
    while (nLength >= 2 && SEPARATORS.find(szText[nLength - 1]) != std::string_view::npos) {
        szText[--nLength] = '\0';
    }
    return 0;
}

int MarkIPHost(tagWebRequest* pRequest) {
    if (!pRequest) return -1;
    pRequest->bIsIPHost = IsDottedIPv4(pRequest->szHost) == 0 ? 1 : 0;
    return 0;
}

int IsDottedIPv4(const char* szText) {
    if (!szText) return -1;
    return inet_addr(szText) != INADDR_NONE ? 0 : 1;
}
