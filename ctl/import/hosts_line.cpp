#include "ctl/import/hosts_line.h"

#include <arpa/inet.h>

#include <string>

#include "common/ascii.h"
#include "ctl/import/line_reader.h"

namespace {

bool LeadsNowhere(std::string_view address);

}  // namespace

const char* ReadHostsLine(std::string_view line, std::vector<tagLineItem>& items) {
    line = TrimBlanks(line.substr(0, line.find('#')));
    if (line.empty()) return nullptr;
    const std::string_view address = TakeWord(line);
    if (!IsHostsAddress(address)) return "does not begin with an address, as the lines of hosts files do";
    if (line.empty()) return "has an address and no name";
    if (!LeadsNowhere(address)) return "gives its names an address of their own; it does not block them";
    while (!line.empty())
        items.push_back({TakeWord(line), {}, false, false, false});
    return nullptr;
}

bool IsHostsAddress(std::string_view text) {
    const std::string address(text.substr(0, text.find('%')));
    unsigned char parsed[sizeof(in6_addr)];
    return address == "0" || inet_pton(AF_INET, address.c_str(), parsed) == 1 ||
           inet_pton(AF_INET6, address.c_str(), parsed) == 1;
}

namespace {

// Whatever the standard head of a hosts file holds counts, too: its names are judged by themselves.
bool LeadsNowhere(std::string_view address) {
    return address == "0" || address == "0.0.0.0" || address == "255.255.255.255" ||
           address.starts_with("127.") || address == "::" || address == "::1" ||
           address.starts_with("fe80:") || address.starts_with("ff0") || address.starts_with("fe00:");
}

}  // namespace
