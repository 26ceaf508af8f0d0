// Finds the web categories of one request, for the blocked-category check.
#pragma once

#include "inspect/web_request.h"

// No category engine is bound yet, so no request has categories.
// Returns -1 (there are none to use), or 2 when pRequest is null. Any worker.
int LookupURLCategories(tagWebRequest* pRequest);
