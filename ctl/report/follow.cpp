#include "ctl/report/follow.h"

#include <limits.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <string_view>

#include "ctl/output.h"

namespace {

constexpr long POLL_MS = 300;
constexpr int64_t ROWS_AT_ONCE = 1000;
// For so long the second record of a block may still come.
constexpr int64_t HALF_ROW_SECONDS = 2;

volatile sig_atomic_t g_bEnd;

// The two signals arrive only in waits, so that none is missed between a look at g_bEnd and a wait.
void HoldEndSignals(sigset_t* pMaskInWaits);
bool WaitForOutput(short nEvents, const timespec* pLongest, const sigset_t& maskInWaits);
bool PutOut(std::string_view text, const sigset_t& maskInWaits);
bool IsHalf(const tagReportRow& row);

}  // namespace

void FollowReports(ReportStore& store, tagReportFilter filter, ReportWriter& writer,
                   std::ostringstream& text) {
    sigset_t maskInWaits;
    HoldEndSignals(&maskInWaits);
    store.ForEach(filter, [&](const tagReportRow& row) {
        writer.Measure(row);
        filter.nAfterId = row.nId - 1;
        return true;
    });
    filter.bOldestFirst = 1;
    filter.nLimit = ROWS_AT_ONCE;
    writer.Begin();
    for (;;) {
        int64_t nRows = 0;
        store.ForEach(filter, [&](const tagReportRow& row) {
            if (IsHalf(row)) return false;
            writer.Write(row);
            filter.nAfterId = row.nId;
            return ++nRows > 0;
        });
        if (!PutOut(text.str(), maskInWaits)) return;
        text.str("");
        const timespec pause{0, POLL_MS * 1'000'000};
        if (nRows < ROWS_AT_ONCE && !WaitForOutput(0, &pause, maskInWaits)) return;
    }
}

namespace {

void HoldEndSignals(sigset_t* pMaskInWaits) {
    sigset_t ends;
    sigemptyset(&ends);
    struct sigaction end {};
    end.sa_handler = [](int) { g_bEnd = 1; };
    for (const int nSignal : {SIGINT, SIGTERM}) {
        sigaddset(&ends, nSignal);
        sigaction(nSignal, &end, nullptr);
    }
    sigprocmask(SIG_BLOCK, &ends, pMaskInWaits);
    for (const int nSignal : {SIGINT, SIGTERM})
        sigdelset(pMaskInWaits, nSignal);
    // A reader that has gone is seen by the failing write.
    signal(SIGPIPE, SIG_IGN);
}

// False when it is time to end.
bool WaitForOutput(short nEvents, const timespec* pLongest, const sigset_t& maskInWaits) {
    pollfd output{STDOUT_FILENO, nEvents, 0};
    const int nReady = ppoll(&output, 1, pLongest, &maskInWaits);
    return !g_bEnd && (nReady <= 0 || (output.revents & (POLLERR | POLLHUP | POLLNVAL)) == 0);
}

// As false. A piece of this size never blocks once the output is ready, so that the signals end this too.
bool PutOut(std::string_view text, const sigset_t& maskInWaits) {
    while (!text.empty()) {
        if (!WaitForOutput(POLLOUT, nullptr, maskInWaits)) return false;
        const ssize_t n = write(STDOUT_FILENO, text.data(), std::min<size_t>(text.size(), PIPE_BUF));
        if (n < 0 && errno == EPIPE) return false;
        if (n < 0 && errno != EINTR && errno != EAGAIN) throw CtlError("cannot write to standard output");
        if (n > 0) text.remove_prefix(static_cast<size_t>(n));
    }
    return true;
}

bool IsHalf(const tagReportRow& row) {
    const int64_t nAge = std::time(nullptr) - row.nTime;
    return row.nParts != REPORT_PARTS_ALL && nAge >= 0 && nAge <= HALF_ROW_SECONDS;
}

}  // namespace
