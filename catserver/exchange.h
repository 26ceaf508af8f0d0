// One exchange of the server: a request comes in, in any number of pieces, and one reply goes out. Nothing
// here waits. One thread.
#pragma once

#include <cstdint>

#include "catserver/category_lists.h"
#include "catserver/connections.h"

// Takes what has arrived on a connection and, when the request is whole or cannot become one, replies. The
// connection is closed when its exchange is over.
void ContinueExchange(tagConnectionTable& table, uint32_t nIndex, const tagCategoryLists& lists);

// Ends an exchange whose time is up or whose place is needed: the peer is told so rather than just left.
void RefuseAndClose(tagConnectionTable& table, uint32_t nIndex);
