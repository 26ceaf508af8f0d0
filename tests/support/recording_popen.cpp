#include "tests/support/recording_popen.h"

#include <dlfcn.h>

#include <cstdio>
#include <mutex>
#include <utility>

namespace {
std::mutex s_lock;
std::vector<std::string> s_commands;
std::function<recording_popen::tagAnswer(const std::string&)> s_answer;
}  // namespace

extern "C" FILE* popen(const char* szCommand, const char* szMode) {
    using PopenFn = FILE* (*)(const char*, const char*);
    static const auto real = reinterpret_cast<PopenFn>(dlsym(RTLD_NEXT, "popen"));
    std::function<recording_popen::tagAnswer(const std::string&)> answer;
    {
        const std::lock_guard guard(s_lock);
        s_commands.emplace_back(szCommand);
        answer = s_answer;
    }
    if (!answer) return real(szCommand, szMode);
    const auto [strOutput, nStatus] = answer(szCommand);
    const std::string strStandIn = "printf '%s' '" + strOutput + "'; exit " + std::to_string(nStatus);
    return real(strStandIn.c_str(), szMode);
}

namespace recording_popen {

void AnswerWith(std::function<tagAnswer(const std::string&)> answer) {
    const std::lock_guard guard(s_lock);
    s_answer = std::move(answer);
    s_commands.clear();
}

std::vector<std::string> TakeCommands() {
    const std::lock_guard guard(s_lock);
    return std::exchange(s_commands, {});
}

}  // namespace recording_popen
