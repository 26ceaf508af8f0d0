#include "tests/support/scripted_resolver.h"

#include <dlfcn.h>
#include <netdb.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>

namespace {

struct tagScript {
    int nError;
    std::vector<std::string> addresses;
};
std::mutex g_Lock;  // over all that follows: names may be asked for by many threads
std::condition_variable g_Another;
std::map<std::string, tagScript> g_Scripts;
std::vector<std::string> g_Asked;
size_t g_nTogether = 0;

using GetAddrInfoFn = int (*)(const char*, const char*, const addrinfo*, addrinfo**);

// A thread that was made to ask takes no signals.
bool TakesSignals() {
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    return gettid() != getpid() && sigismember(&blocked, SIGHUP) == 0;
}

}  // namespace

namespace scripted_resolver {

void Answer(const std::string& name, std::vector<std::string> numericAddresses) {
    g_Scripts[name] = {0, std::move(numericAddresses)};
}

void Fail(const std::string& name, int nError) {
    g_Scripts[name] = {nError, {}};
}

void AnswerTogether(size_t nNames) {
    g_nTogether = nNames;
}

std::vector<std::string> Asked() {
    std::sort(g_Asked.begin(), g_Asked.end());
    return g_Asked;
}

void Reset() {
    g_Scripts.clear();
    g_Asked.clear();
    g_nTogether = 0;
}

}  // namespace scripted_resolver

extern "C" int getaddrinfo(const char* szName, const char* szService, const addrinfo* pHints,
                           addrinfo** ppAnswer) {
    const bool bAsAgreed = !szService && pHints->ai_family == AF_UNSPEC &&
                           pHints->ai_socktype == SOCK_DGRAM && pHints->ai_flags == 0 &&
                           pHints->ai_protocol == 0;
    if (!bAsAgreed || TakesSignals()) return EAI_BADFLAGS;
    std::unique_lock lock(g_Lock);
    g_Asked.emplace_back(szName);
    g_Another.notify_all();
    if (!g_Another.wait_for(lock, std::chrono::seconds(5), [] { return g_Asked.size() >= g_nTogether; })) {
        return EAI_FAIL;
    }
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
