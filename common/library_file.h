// A look at a library before dlopen(3) has it: that one waits for ever at a pipe, and the process is killed
// (SIGBUS) when it touches the part that a cut file lacks.
#pragma once

// 1 when the path leads to a regular file with all the segments that its ELF headers (elf(5)) tell of, else
// 0. Whether it can be loaded, only the loader knows. Any thread.
int IsWholeLibrary(const char* szPath);
