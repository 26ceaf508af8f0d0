// Runs another program without a shell and captures what it says.
#pragma once

#include <string>
#include <vector>

struct tagProgramRun {
    int nExitStatus;     // 127 when it could not be run, 128 and the signal's number when one ended it
    std::string output;  // standard output and standard error
};

// Runs arguments[0], a path, and waits for its end. Its standard input is empty. Throws CtlError when no
// process can be made.
tagProgramRun RunProgram(const std::vector<std::string>& arguments);
