#include "ctl/module_call.h"

#include <signal.h>
#include <unistd.h>

#include <cstdio>

#include "ctl/output.h"

namespace {

const ModuleCall* s_pCall = nullptr;

void StartLimit();
void EndProgram(int);

}  // namespace

ModuleCall::ModuleCall(const char* szTheModule, const char* szTheFunction, unsigned nTheSeconds)
    : szModule(szTheModule), szFunction(szTheFunction), nSeconds(nTheSeconds), m_pOuter(s_pCall) {
    s_pCall = this;
    StartLimit();
}

ModuleCall::~ModuleCall() {
    s_pCall = m_pOuter;
    StartLimit();
}

namespace {

void StartLimit() {
    signal(SIGALRM, EndProgram);
    alarm(s_pCall ? s_pCall->nSeconds : 0);
}

// What has been allocated may be in the middle of a change: nothing here allocates.
void EndProgram(int) {
    char szText[1024];
    const bool bJson = g_OutputOptions.bJson;
    const int n = std::snprintf(
        szText, sizeof szText, "%s%s gives no answer: %s takes longer than %u seconds; %s%s",
        bJson ? "{\"error\":\"" : "websecctl: ", s_pCall->szModule, s_pCall->szFunction, s_pCall->nSeconds,
        "websec hangs in it, too; mend it or take it away", bJson ? "\"}\n" : "\n");
    (void)!write(STDERR_FILENO, szText, static_cast<size_t>(n));
    _exit(1);
}

}  // namespace
