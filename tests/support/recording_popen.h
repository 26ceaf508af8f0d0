// Takes the place of popen in a test program: records each command text and answers as a firewall would,
// without running it.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace recording_popen {

struct tagAnswer {
    std::string strOutput;  // standard output of the command
    int nStatus;            // its exit status
};

// Answers every command from now on, possibly from several threads; empty: commands really run.
void AnswerWith(std::function<tagAnswer(const std::string&)> answer);

// The commands since the last call, in order.
std::vector<std::string> TakeCommands();

}  // namespace recording_popen
