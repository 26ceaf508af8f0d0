// Display names of web categories, for the reports.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "inspect/web_request.h"

struct tagCategoryName {
    uint8_t nId;
    char szName[100];  // NUL-padded
};
static_assert(sizeof(tagCategoryName) == 101);

constexpr size_t CATEGORY_NAME_ROWS = 100;

// The rows of CATEGORY_TABLE, each at the index that is its id; the rows behind them are zero.
extern const std::array<tagCategoryName, CATEGORY_NAME_ROWS> CategoryNameTable;
static_assert(sizeof CategoryNameTable == 10100);

// Sets wszCategoryName to the name of nCategory: from CategoryNameTable in server mode; in the engine library
// modes the translation of "ws_catname_" and the number, for categories that g_WebCatMapping lists. Without a
// name the field is left as it was. Returns 0, or 2 when pRequest is null. Any worker.
int SetCategoryName(tagWebRequest* pRequest);
