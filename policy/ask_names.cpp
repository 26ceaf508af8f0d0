#include "policy/ask_names.h"

#include <netdb.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>

#include "common/copy_text.h"
#include "policy/policy_state.h"

namespace {

// What the threads share. They take the questions in order, so when all are done, every question before nEnd
// has its answer.
struct tagAsking {
    std::span<tagNameQuestion> questions;
    bool bUntilUnknown;
    std::atomic<size_t> nNext;
    std::atomic<size_t> nEnd;
};

std::atomic<bool> s_bStopAsking = false;

void* AskInTurn(void* pArgument);
bool AskNext(tagAsking& asking);
void EndBefore(tagAsking& asking, size_t n);
bool IsStopping();
void Ask(tagNameQuestion& question);
size_t StartThreads(tagAsking& asking, std::span<pthread_t> threads);

}  // namespace

size_t AskNames(std::span<tagNameQuestion> questions, bool bUntilUnknown) {
    tagAsking asking = {questions, bUntilUnknown, 0, questions.size()};
    // Where the first name may be the end of it, the others are not asked for in vain.
    if (bUntilUnknown) AskNext(asking);
    // The calling thread is one of them; where no other can be had, it asks alone.
    std::array<pthread_t, ASKING_THREADS - 1> threads;
    const size_t nLeft = asking.nEnd - std::min<size_t>(asking.nNext, asking.nEnd);
    const size_t nWanted = std::min(threads.size(), nLeft == 0 ? 0 : nLeft - 1);
    const size_t nThreads = StartThreads(asking, std::span(threads).first(nWanted));
    (void)AskInTurn(&asking);
    for (const pthread_t thread : std::span(threads).first(nThreads))
        pthread_join(thread, nullptr);
    return asking.nEnd;
}

void StopAsking() {
    s_bStopAsking = true;
}

void FreeAnswers(std::span<tagNameQuestion> questions) {
    for (tagNameQuestion& question : questions) {
        if (question.pAnswer) freeaddrinfo(question.pAnswer);
        question.pAnswer = nullptr;
    }
}

namespace {

void* AskInTurn(void* pArgument) {
    auto& asking = *static_cast<tagAsking*>(pArgument);
    while (AskNext(asking)) {
    }
    return nullptr;
}

// False when there is none left.
bool AskNext(tagAsking& asking) {
    const size_t n = asking.nNext++;
    if (n >= asking.nEnd) return false;
    if (IsStopping()) {
        EndBefore(asking, n);
        return false;
    }
    Ask(asking.questions[n]);
    if (asking.bUntilUnknown && asking.questions[n].nError == EAI_NONAME) EndBefore(asking, n);
    return true;
}

void EndBefore(tagAsking& asking, size_t n) {
    size_t nEnd = asking.nEnd;
    while (n < nEnd && !asking.nEnd.compare_exchange_weak(nEnd, n)) {
    }
}

// A start or a reload keeps the control signals blocked meanwhile, on every thread that is here.
bool IsStopping() {
    sigset_t pending;
    return s_bStopAsking || (sigpending(&pending) == 0 && sigismember(&pending, SIGTERM) == 1);
}

void Ask(tagNameQuestion& question) {
    std::string_view name = question.name;
    if (name.starts_with('.')) name.remove_prefix(1);
    char szName[sizeof(tagListEntry::szEntry)];
    CopyText(szName, name);
    addrinfo hints = {};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_DGRAM;  // one answer for each address, not one for each kind of socket
    question.nError = getaddrinfo(szName, nullptr, &hints, &question.pAnswer);
    if (question.nError != 0) question.pAnswer = nullptr;
}

// Returns how many there are: as many as wanted, if the system gives them.
size_t StartThreads(tagAsking& asking, std::span<pthread_t> threads) {
    sigset_t all, saved;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &saved);
    size_t nThreads = 0;
    while (nThreads < threads.size() &&
           pthread_create(&threads[nThreads], nullptr, AskInTurn, &asking) == 0) {
        ++nThreads;
    }
    pthread_sigmask(SIG_SETMASK, &saved, nullptr);
    return nThreads;
}

}  // namespace
