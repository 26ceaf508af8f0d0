#include "inspect/target_text.h"

#include <algorithm>

#include "common/copy_text.h"

void CopyTarget(std::span<const uint8_t> data, tagWebRequest& request) {
    const auto isBlank = [](uint8_t c) { return c == ' ' || c == '\t'; };
    const auto isTarget = [](uint8_t c) { return c >= '!' && c <= '~'; };
    const auto first = std::find_if_not(data.begin(), data.end(), isBlank);
    const auto last = std::find_if_not(first, data.end(), isTarget);
    const std::span<const uint8_t> target(first, last);
    if (target.size() <= 1) {
        request.szPath[0] = '\0';
        return;
    }
    CopyText(request.szPath, {reinterpret_cast<const char*>(target.data()), target.size()});
}
