#include "tests/support/scripted_resolver.h"

#include <dlfcn.h>
#include <netdb.h>

#include <map>

namespace {

struct tagScript {
    int nError;
    std::vector<std::string> addresses;
};
std::map<std::string, tagScript> g_Scripts;
std::vector<std::string> g_Asked;

using GetAddrInfoFn = int (*)(const char*, const char*, const addrinfo*, addrinfo**);

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
    static const auto real = reinterpret_cast<GetAddrInfoFn>(dlsym(RTLD_NEXT, "getaddrinfo"));
    addrinfo hints = *pHints;
    hints.ai_flags = AI_NUMERICHOST;
    for (const std::string& numeric : found->second.addresses) {
        real(numeric.c_str(), nullptr, &hints, ppAnswer);
        ppAnswer = &(*ppAnswer)->ai_next;
    }
    return found->second.nError;
}
