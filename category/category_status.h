// The category-filter status, which the product keeps in a protected data file (policy/data_file.h) whose
// body is six bytes without a count: the status, and five that are not looked at.
#pragma once

#include <cstdint>

// Whether the category engine is to run; any other status changes nothing.
enum : uint8_t { CATEGORY_STATUS_OFF = 0, CATEGORY_STATUS_ON = 1 };

// Reads the status, from wscatsts.dat or from another file. 0, or with *pStatus as before
//   2       pStatus is null
//   1       bad header
//   errno   cannot be opened or read; a short file is EIO
// Keeps no state; any thread that is not cancelled meanwhile.
uint32_t ReadCategoryStatus(uint8_t* pStatus);
uint32_t ReadCategoryStatusFrom(const char* szPath, uint8_t* pStatus);
