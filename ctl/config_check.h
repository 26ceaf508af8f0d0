// Whether websec.cfg says what somebody meant by it: the daemon takes what it cannot use for something else,
// or passes over it, and says nothing.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "service/service_config.h"

struct tagConfigCheck {
    bool bThere;                        // without the file every key has its default
    std::vector<std::string> problems;  // with key and value, in words
};

// Looks at every section and key that the file names, and at the values, read as the daemon reads them; those
// of rules are the business of the two below.
tagConfigCheck CheckServiceConfig(const std::string& path);

// Why no rule can be made of it, or none that sees what this host asks for, or none without handing a shell
// more than names and ports: key and value, in words.
std::vector<std::string> WhyNoRules(const tagServiceConfig& config);

// The port lists of which no rule can be made, likewise. Without one the rules of the others work.
std::vector<std::string> BadPortLists(const tagServiceConfig& config);

// Whether there can be rules in that table and chain at all; else neither is fit for a shell, to which the
// daemon's code, which websecctl shares, hands them.
bool IsPlaceForRules(const tagServiceConfig& config);

// Whether the ports, where they are in use, hold nothing but the characters of such, likewise.
bool ArePortsFitForShell(const tagServiceConfig& config);

// Whether it is a table of the kernel in which every packet meets the rules.
bool IsRuleTable(std::string_view table);
