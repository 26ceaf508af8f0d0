// Lines of filter lists for content blockers. Only rules for whole names can be taken: a name covers every
// request to it and to all below it.
#pragma once

#include <string_view>
#include <vector>

struct tagLineItem;

// Reads a trimmed line that is not empty; items is appended to. Null, or why it cannot be taken.
const char* ReadAdblockLine(std::string_view line, std::vector<tagLineItem>& items);
