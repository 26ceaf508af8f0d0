// Runs one shell command and captures what it prints.
#pragma once

#include <cstdint>

// Runs szCommand through /bin/sh, captures at most nOutSize - 1 characters of its standard output in szOut
// (NUL-terminated) and stores the shell's exit status. Returns 0, or -1 with szOut and *pExitStatus
// unchanged when an argument is null, nOutSize is 0 or the command cannot be started. Any thread.
int RunCommand(const char* szCommand, char* szOut, uint32_t nOutSize, uint32_t* pExitStatus);
