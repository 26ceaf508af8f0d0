// The category server: one thread that answers many connections. A connection carries one request and one
// reply; a peer that sends anything else, or not all of it in time, gets a refusal.
#pragma once

#include "catserver/category_lists.h"

// Serves on a listening, non-blocking socket until SIGTERM or SIGINT; SIGHUP reads the lists afresh, between
// two requests. What the lists are like is said on standard error. All these signals are blocked by the call
// and SIGPIPE is ignored. 0, or the error number of what could not be set up.
int RunCategoryServer(int nListenSocket, tagCategoryLists& lists);
