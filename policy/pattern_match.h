// The checks of a request's szCheckURL against the built-in URL patterns.
//
// A pattern covers a URL that begins with it, or, with a leading "*", contains the rest of it. Only the first
// occurrence counts, and behind it the URL must end or go on with "/", "?" or "#". One "/" at the end of a
// pattern is not part of it.
//
// Any worker, inside its own lock. Both return 0, or 2 when pRequest is null, and write nResult only on a
// hit.
#pragma once

#include <cstdint>
#include <string_view>

#include "inspect/web_request.h"
#include "policy/data_file.h"

// g_ExclusionPatterns, in any case: RESULT_EXCLUDED.
int CheckExclusionList(tagWebRequest* pRequest);

// g_TrustedURLPatterns, case-sensitive: RESULT_SCAN_TRUSTED.
int CheckTrustedURLs(tagWebRequest* pRequest);

// The number of the first pattern in order that covers the URL, or NO_ENTRY; with bFold in any case. Asked of
// the table's index where there is one, else found by walking.
uint32_t FirstPattern(const tagPatternTable& table, std::string_view url, bool bFold);
