#include "inspect/build_url.h"

#include <cstring>
#include <initializer_list>
#include <string_view>

#include "inspect/url_helpers.h"

namespace {
int BuildPathURL(tagWebRequest& request, std::string_view scheme);
void JoinURL(tagWebRequest& request, std::initializer_list<std::string_view> parts);
}  // namespace

int BuildHTTPURL(tagWebRequest* pRequest) {
    return BuildPathURL(*pRequest, "http://");
}

int BuildFTPURL(tagWebRequest* pRequest) {
    return BuildPathURL(*pRequest, "ftp://");
}

int BuildHTTPSURL(tagWebRequest* pRequest) {
    constexpr std::string_view scheme = "https://";
    if (std::string_view(pRequest->szHost).starts_with(scheme)) {
        StripURLPort(pRequest->szHost, scheme.size());
        JoinURL(*pRequest, {pRequest->szHost});
    } else {
        StripURLPort(pRequest->szHost, 0);
        JoinURL(*pRequest, {scheme, pRequest->szHost});
    }
    return 0;
}

namespace {

int BuildPathURL(tagWebRequest& request, std::string_view scheme) {
    if (std::string_view(request.szPath).starts_with(scheme)) {
        StripURLPort(request.szPath, scheme.size());
        JoinURL(request, {request.szPath});
        return 0;
    }
    StripURLPort(request.szPath, 0);
    if (request.szPath[0] == '/') {
        JoinURL(request, {scheme, request.szHost, request.szPath});
    } else if (std::strstr(request.szPath, request.szHost)) {
        JoinURL(request, {scheme, request.szPath});
    } else {
        JoinURL(request, {scheme, request.szHost, "/", request.szPath});
    }
    return 0;
}

void JoinURL(tagWebRequest& request, std::initializer_list<std::string_view> parts) {
    size_t nLength = 0;
    for (std::string_view part : parts) {
        part = part.substr(0, sizeof request.szURL - 1 - nLength);
        std::memcpy(request.szURL + nLength, part.data(), part.size());
        nLength += part.size();
    }
    request.szURL[nLength] = '\0';
}

}  // namespace
