// Lines of hosts files (hosts(5)) that lead names nowhere.
#pragma once

#include <string_view>
#include <vector>

struct tagLineItem;

// Reads a trimmed line that is not empty; items is appended to. Null, or why it cannot be taken.
const char* ReadHostsLine(std::string_view line, std::vector<tagLineItem>& items);

// Whether the text is an IPv4 or IPv6 address, with an interface's name behind "%" or without.
bool IsHostsAddress(std::string_view text);
