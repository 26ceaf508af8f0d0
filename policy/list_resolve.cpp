#include "policy/list_resolve.h"

#include <netdb.h>
#include <sys/socket.h>

#include <cstring>
#include <string_view>

#include "common/copy_text.h"
#include "policy/list_entry.h"

namespace {

constexpr size_t NUMERIC_TEXT_BYTES = 1025;

int Resolve(std::string_view name, addrinfo*& pAnswer);
int AppendAddresses(const addrinfo* pAnswer, std::string_view path, tagListEntry** ppAddrs);
int AppendAddress(const addrinfo& address, std::string_view path, tagListEntry** ppAddrs);

}  // namespace

int ResolveHostList(const tagListEntry* pHosts, tagListEntry** ppAddrs) {
    if (!pHosts) return 2;
    for (; pHosts; pHosts = pHosts->pNext) {
        addrinfo* pAnswer = nullptr;
        const int nError = Resolve(pHosts->szEntry, pAnswer);
        if (nError == EAI_NONAME) return 0;
        if (nError != 0) continue;
        const int nResult = AppendAddresses(pAnswer, {}, ppAddrs);
        freeaddrinfo(pAnswer);
        if (nResult != 0) return nResult;
    }
    return 0;
}

int ResolveURLList(const tagListEntry* pURLs, tagListEntry** ppAddrs) {
    if (!pURLs) return 2;
    for (; pURLs; pURLs = pURLs->pNext) {
        const std::string_view url(pURLs->szEntry);
        const size_t nSlash = url.find('/');
        if (nSlash == std::string_view::npos) continue;
        addrinfo* pAnswer = nullptr;
        if (Resolve(url.substr(0, nSlash), pAnswer) != 0) continue;
        const int nResult = AppendAddresses(pAnswer, url.substr(nSlash), ppAddrs);
        freeaddrinfo(pAnswer);
        if (nResult != 0) return nResult;
    }
    return 0;
}

namespace {

// The resolver's result for the name without a leading "."; on 0 the answer is to be released.
int Resolve(std::string_view name, addrinfo*& pAnswer) {
    if (name.starts_with('.')) name.remove_prefix(1);
    char szName[sizeof(tagListEntry::szEntry)];
    CopyText(szName, name);
    addrinfo hints = {};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_DGRAM;  // one answer for each address, not one for each kind of socket
    return getaddrinfo(szName, nullptr, &hints, &pAnswer);
}

int AppendAddresses(const addrinfo* pAnswer, std::string_view path, tagListEntry** ppAddrs) {
    for (; pAnswer; pAnswer = pAnswer->ai_next) {
        if (AppendAddress(*pAnswer, path, ppAddrs) == 0) continue;
        FreeList(ppAddrs);
        return 1;
    }
    return 0;
}

// 0, also for an address without a numeric text, or 1 when memory runs out.
int AppendAddress(const addrinfo& address, std::string_view path, tagListEntry** ppAddrs) {
    char szNumeric[NUMERIC_TEXT_BYTES];
    if (getnameinfo(address.ai_addr, address.ai_addrlen, szNumeric, sizeof szNumeric, nullptr, 0,
                    NI_NUMERICHOST) != 0) {
        return 0;
    }
    tagListEntry* pNode = AppendListEntry(ppAddrs);
    if (!pNode) return 1;
    CopyText(pNode->szEntry, szNumeric);
    const size_t nLength = std::strlen(pNode->szEntry);
    const std::string_view cut = path.substr(0, sizeof pNode->szEntry - 1 - nLength);
    if (!cut.empty()) std::memcpy(pNode->szEntry + nLength, cut.data(), cut.size());
    return 0;
}

}  // namespace
