// Questions that a check is asked in turn, one in sixteen about something that is listed, where so much is.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

constexpr uint64_t FIRST_UNLISTED = 1'000'000;  // entries have lower numbers

template <class T>
struct tagQuestion {
    T text;
    bool bListed;
};

// textOf(n) is what to ask in order to meet entry n, or for n from FIRST_UNLISTED on what meets none.
template <class T>
auto QuestionsAbout(uint64_t nEntries, T textOf) {
    std::mt19937_64 random(1);
    std::vector<tagQuestion<decltype(textOf(0))>> questions;
    while (questions.size() < 1024) {
        const bool bListed = random() % 16 == 0 && nEntries != 0;
        const uint64_t n = bListed ? random() % nEntries : FIRST_UNLISTED + random() % 1'000'000;
        questions.push_back({textOf(n), bListed});
    }
    return questions;
}

// Times ask(text), which tells whether it is listed; refuses to time wrong answers.
template <class T, class Ask>
void Measure(benchmark::State& state, const std::vector<tagQuestion<T>>& questions, Ask ask) {
    const auto isRight = [&](const auto& question) { return ask(question.text) == question.bListed; };
    if (!std::all_of(questions.begin(), questions.end(), isRight)) {
        state.SkipWithError("a question gets a wrong answer");
        return;
    }
    size_t n = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(ask(questions[n++ % questions.size()].text));
}

inline void Sizes(benchmark::internal::Benchmark* pBenchmark) {
    for (const int64_t nEntries : {0, 1, 100, 10'000, 100'000})
        pBenchmark->Arg(nEntries);
}

inline std::string HostOf(uint64_t n) {
    return "name" + std::to_string(n * 0x9E3779B1 % 1000003) + ".site" + std::to_string(n % 1000) +
           ".example";
}
