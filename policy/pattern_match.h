// The checks of a request's szCheckURL against the built-in URL patterns.
//
// A pattern covers a URL that begins with it, or, with a leading "*", contains the rest of it. Only the first
// occurrence counts, and behind it the URL must end or go on with "/", "?" or "#". One "/" at the end of a
// pattern is not part of it.
//
// Any worker, inside its own lock. Both return 0, or 2 when pRequest is null, and write nResult only on a
// hit.
#pragma once

#include "inspect/web_request.h"

// g_ExclusionPatterns, in any case: RESULT_EXCLUDED.
int CheckExclusionList(tagWebRequest* pRequest);

// g_TrustedURLPatterns, case-sensitive: RESULT_SCAN_TRUSTED.
int CheckTrustedURLs(tagWebRequest* pRequest);
