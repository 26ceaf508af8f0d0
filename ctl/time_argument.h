// Times as the administrator writes and reads them: local time, the year first.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

// Seconds since 1970 of "2026-11-22" (its midnight), "2026-11-22 14:00", "2026-11-22 14:00:30", a T allowed
// for the blank; or of so long ago: "45s", "30m", "2h", "3d", "1w". Nothing for any other text and for times
// before 1970. nNow: the present time.
std::optional<int64_t> ReadTimeArgument(const std::string& text, int64_t nNow);

// "2026-11-22 14:00:30".
std::string LocalTimeText(int64_t nTime);
