#include "category/category_lookup.h"

#include <pthread.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <iterator>

#include "category/category_engine.h"
#include "category/category_server_client.h"
#include "category/category_server_protocol.h"
#include "common/ascii.h"
#include "common/copy_text.h"
#include "policy/policy_switches.h"

namespace {

void CloseClient(void* pClient);
int Exchange(CategoryServerClient& client, tagWebRequest& request);
bool SendRequest(CategoryServerClient& client, const tagWebRequest& request);
bool ReadReply(CategoryServerClient& client, tagWebRequest& request);
uint16_t ReadRealId(const char* szText);

}  // namespace

int LookupURLCategories(tagWebRequest* pRequest) {
    if (!pRequest) return 2;
    if (g_bBrowsingProtection == 0 && g_bPhishingProtection == 0 && g_bWebCategoryFilter == 0) return -1;
    tagWebRequest& r = *pRequest;
    switch (g_bUseCatServer) {
        case CATENGINE_LIBRARY:
            return WCGetURLCategories(r.szHost, r.szURL, r.nCategoryIds, &r.nCategoryCount) == 0 ? 0 : -1;
        case CATENGINE_LIBRARY_KV:
            return WCGetKVURLCategories(r.szHost, r.szURL, r.nCategoryIds, &r.nCategoryCount) == 0 ? 0 : -1;
        default:
            return AskCategoryServer(r, CATSERVER_PORT);
    }
}

int AskCategoryServer(tagWebRequest& request, uint16_t nPort) {
    CategoryServerClient client;
    client.SetPort(nPort);
    client.SetHost(CATSERVER_HOST);
    int nResult = -1;
    pthread_cleanup_push(CloseClient, &client);
    nResult = Exchange(client, request);
    pthread_cleanup_pop(1);
    return nResult;
}

namespace {

void CloseClient(void* pClient) {
    static_cast<CategoryServerClient*>(pClient)->Close();
}

int Exchange(CategoryServerClient& client, tagWebRequest& request) {
    if (!client.Connect()) return -1;
    if (!SendRequest(client, request)) return -1;
    if (!ReadReply(client, request)) return -1;
    unsigned short nLogical = 0;
    (void)ConvertFromRealToLogical(ReadRealId(request.szCategories), &nLogical);
    snprintf(request.szCategories, sizeof request.szCategories, "%u", static_cast<unsigned>(nLogical));
    return 0;
}

bool SendRequest(CategoryServerClient& client, const tagWebRequest& request) {
    CategoryRequest message = {};
    std::copy(std::begin(CATSERVER_WORDS), std::end(CATSERVER_WORDS), message.nWords);
    static_assert(sizeof message.szURL > sizeof request.szURL);
    CopyText(message.szURL, {request.szURL, strnlen(request.szURL, sizeof request.szURL)});
    return client.Write(&message, sizeof message);
}

// Leaves the text in szCategories, cut to the field.
bool ReadReply(CategoryServerClient& client, tagWebRequest& request) {
    uint32_t nStatus = 0;
    if (client.Read(&nStatus, sizeof nStatus) < 0 || nStatus != CATSERVER_STATUS_OK) return false;
    uint64_t nLength = 0;
    if (client.Read(&nLength, sizeof nLength) < 0) return false;
    const size_t nKept = static_cast<size_t>(std::min<uint64_t>(nLength, sizeof request.szCategories - 1));
    request.szCategories[nKept] = '\0';
    return client.Read(request.szCategories, nKept) >= 0;
}

// The decimal number at the start of the text, with blanks and a sign before it, 0 when there is none. Ids
// have 16 bits: what stands above them is dropped.
uint16_t ReadRealId(const char* szText) {
    while (IsBlank(*szText))
        ++szText;
    const bool bNegative = *szText == '-';
    if (*szText == '-' || *szText == '+') ++szText;
    unsigned nId = 0;
    for (; *szText >= '0' && *szText <= '9'; ++szText)
        nId = (nId * 10 + static_cast<unsigned>(*szText - '0')) & 0xFFFF;
    return static_cast<uint16_t>(bNegative ? -nId : nId);
}

}  // namespace
