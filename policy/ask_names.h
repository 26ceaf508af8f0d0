// Asks the system's resolver for many names at once, so that one which is slow to answer holds up few
// others: a bounded number of threads, which live for this call alone and keep every signal blocked. Each
// name may take as long as the resolver lets it.
//
// Any thread; not to be cancelled meanwhile.
#pragma once

#include <atomic>
#include <cstddef>
#include <span>
#include <string_view>

struct addrinfo;  // netdb.h, which users of the kernel's headers could not include behind them

constexpr size_t ASKING_THREADS = 32;

struct tagNameQuestion {
    std::string_view name;  // at most 256 bytes; a leading "." is not part of it
    int nError;             // the resolver's result
    addrinfo* pAnswer;      // one element for each address; null when nError is not 0
};

// Fills in the answers of the first questions and returns how many: all of them, or with bUntilUnknown those
// before the first name that the resolver does not know (EAI_NONAME). Later ones may have been asked as well.
// Once StopAsking was called, or a SIGTERM waits for a caller that blocks it, no further name is asked for.
// FreeAnswers releases the answers.
size_t AskNames(std::span<tagNameQuestion> questions, bool bUntilUnknown);

// From any thread or signal handler, for good: the process is about to end.
void StopAsking();

void FreeAnswers(std::span<tagNameQuestion> questions);
