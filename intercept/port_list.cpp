#include "intercept/port_list.h"

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <system_error>

#include "common/ascii.h"

namespace {
constexpr size_t MOST_PORTS = 15;

size_t CountPorts(std::string_view item);
bool ReadPort(std::string_view text, uint16_t& nPort);
}  // namespace

bool IsPortList(std::string_view text) {
    text = TrimBlanks(text);
    size_t nPorts = 0;
    for (;;) {
        const size_t nComma = text.find(',');
        const size_t nCounted = CountPorts(text.substr(0, nComma));
        if (nCounted == 0) return false;
        nPorts += nCounted;
        if (nComma == text.npos) return nPorts <= MOST_PORTS;
        text.remove_prefix(nComma + 1);
    }
}

namespace {
// 1, 2 for a range, 0 for neither.
size_t CountPorts(std::string_view item) {
    const size_t nColon = item.find(':');
    uint16_t nFirst = 0, nLast = 0;
    if (!ReadPort(item.substr(0, nColon), nFirst)) return 0;
    if (nColon == item.npos) return 1;
    return ReadPort(item.substr(nColon + 1), nLast) && nLast > nFirst ? 2 : 0;
}

bool ReadPort(std::string_view text, uint16_t& nPort) {
    const auto read = std::from_chars(text.data(), text.data() + text.size(), nPort);
    return read.ec == std::errc() && read.ptr == text.data() + text.size();
}
}  // namespace
