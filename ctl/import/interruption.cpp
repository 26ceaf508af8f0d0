#include "ctl/import/interruption.h"

#include "ctl/output.h"

namespace {

constexpr int SIGNALS[] = {SIGINT, SIGTERM, SIGHUP};
volatile sig_atomic_t g_bInterrupted = 0;

void NoteInterruption(int) {
    g_bInterrupted = 1;
}

}  // namespace

Interruptible::Interruptible() {
    g_bInterrupted = 0;
    struct sigaction action = {};
    action.sa_handler = NoteInterruption;
    for (size_t n = 0; n < m_previous.size(); ++n)
        sigaction(SIGNALS[n], &action, &m_previous[n]);
}

Interruptible::~Interruptible() {
    for (size_t n = 0; n < m_previous.size(); ++n)
        sigaction(SIGNALS[n], &m_previous[n], nullptr);
}

bool IsInterrupted() {
    return g_bInterrupted != 0;
}

void LeaveWhenInterrupted() {
    if (IsInterrupted()) throw CtlError("interrupted; nothing was changed");
}
