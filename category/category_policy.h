// Decides whether one of a request's categories is a blocked one.
#pragma once

#include "inspect/web_request.h"

// Takes the request's categories in their own order; the first that stands in g_nBlockedCategories wins.
// They are read from nCategoryIds in the engine library modes, else from the comma-separated szCategories.
//   0    one is blocked: nResult is RESULT_CATEGORY, nCategory the id, and in the engine library modes
//        wszReportText the translated reason; or nothing is blocked at all, and the record is unchanged
//   -1   none of the request's categories is blocked
//   2    pRequest is null
// Any worker; works on the record and on globals that do not change meanwhile.
int CheckBlockedCategory(tagWebRequest* pRequest);
