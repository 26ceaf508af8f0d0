#include "tests/support/scripted_resolver.h"

#include <arpa/inet.h>
#include <netdb.h>

#include <map>

namespace {

struct tagScript {
    int nError;
    std::vector<std::string> addresses;
};
std::map<std::string, tagScript> g_Scripts;
std::vector<std::string> g_Asked;

struct tagAnswer {
    addrinfo info;  // first: what the caller holds
    sockaddr_storage address;
};

addrinfo* MakeAnswer(const std::string& numeric) {
    auto* pAnswer = new tagAnswer{};
    auto* pIPv4 = reinterpret_cast<sockaddr_in*>(&pAnswer->address);
    auto* pIPv6 = reinterpret_cast<sockaddr_in6*>(&pAnswer->address);
    const bool bIsIPv4 = inet_pton(AF_INET, numeric.c_str(), &pIPv4->sin_addr) == 1;
    if (!bIsIPv4) inet_pton(AF_INET6, numeric.c_str(), &pIPv6->sin6_addr);
    pAnswer->address.ss_family = bIsIPv4 ? AF_INET : AF_INET6;
    pAnswer->info.ai_family = pAnswer->address.ss_family;
    pAnswer->info.ai_addr = reinterpret_cast<sockaddr*>(&pAnswer->address);
    pAnswer->info.ai_addrlen = bIsIPv4 ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
    return &pAnswer->info;
}

}  // namespace

namespace scripted_resolver {

void Answer(const std::string& name, std::vector<std::string> numericAddresses) {
    g_Scripts[name] = {0, std::move(numericAddresses)};
}

void Fail(const std::string& name, int nError) {
    g_Scripts[name] = {nError, {}};
}

const std::vector<std::string>& Asked() {
    return g_Asked;
}

void Reset() {
    g_Scripts.clear();
    g_Asked.clear();
}

}  // namespace scripted_resolver

extern "C" int getaddrinfo(const char* szName, const char* szService, const addrinfo* pHints,
                           addrinfo** ppAnswer) {
    const bool bAsAgreed = !szService && pHints->ai_family == AF_UNSPEC &&
                           pHints->ai_socktype == SOCK_DGRAM && pHints->ai_flags == 0 &&
                           pHints->ai_protocol == 0;
    if (!bAsAgreed) return EAI_BADFLAGS;
    g_Asked.emplace_back(szName);
    const auto found = g_Scripts.find(szName);
    if (found == g_Scripts.end()) return EAI_NONAME;
    addrinfo** ppLink = ppAnswer;
    for (const std::string& numeric : found->second.addresses) {
        *ppLink = MakeAnswer(numeric);
        ppLink = &(*ppLink)->ai_next;
    }
    return found->second.nError;
}

extern "C" void freeaddrinfo(addrinfo* pAnswer) noexcept {
    while (pAnswer) {
        addrinfo* pNext = pAnswer->ai_next;
        delete reinterpret_cast<tagAnswer*>(pAnswer);
        pAnswer = pNext;
    }
}
