// Whether websec.cfg says what somebody meant by it: the daemon takes what it cannot use for something else,
// or passes over it, and says nothing.
#pragma once

#include <string>
#include <vector>

struct tagConfigCheck {
    bool bThere;                        // without the file every key has its default
    std::vector<std::string> problems;  // with key and value, in words
};

// Looks at every section and key that the file names, and at the values, read as the daemon reads them.
tagConfigCheck CheckServiceConfig(const std::string& path);
