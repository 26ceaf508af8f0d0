// Which rows the command line means.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "modules/store/store_reports.h"

// What was asked for; 0 and nothing stand for no condition.
struct tagReportChoice {
    int64_t nSince = 0;
    int64_t nUntil = 0;
    std::optional<std::string> user;
    std::optional<std::string> host;
    uint32_t nResultMask = 0;
    int64_t nLimit = 50;
};

// The same for the store. It refers to the choice's texts. Throws CtlError when no time lies between the two.
tagReportFilter FilterOf(const tagReportChoice& choice);

// The conditions in words, "since 2026-11-22 00:00:00, user alice"; empty without any. The limit is none.
std::string DescribeChoice(const tagReportChoice& choice);
