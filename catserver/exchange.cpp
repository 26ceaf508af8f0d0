#include "catserver/exchange.h"

#include <sys/socket.h>

#include <cerrno>
#include <span>
#include <string_view>

#include "catserver/category_request.h"

namespace {

void Discard(tagConnectionTable& table, uint32_t nIndex);
void Answer(tagConnectionTable& table, uint32_t nIndex, const tagCategoryLists& lists);
void Refuse(tagConnectionTable& table, uint32_t nIndex);

}  // namespace

void ContinueExchange(tagConnectionTable& table, uint32_t nIndex, const tagCategoryLists& lists) {
    tagConnection& c = table.connections[nIndex];
    if (c.nSocket < 0) return;
    if (c.bRefused) return Discard(table, nIndex);
    for (;;) {
        const ssize_t nRead = recv(c.nSocket, c.request + c.nReceived, sizeof c.request - c.nReceived, 0);
        if (nRead < 0 && errno == EINTR) continue;
        if (nRead < 0 && errno != EAGAIN && errno != EWOULDBLOCK) {
            return CloseConnection(table, nIndex);
        }
        if (nRead > 0) c.nReceived += static_cast<uint32_t>(nRead);
        if (c.nReceived > sizeof(CategoryRequest)) return Refuse(table, nIndex);
        if (nRead > 0) continue;
        // Nothing more is there for now, or for good.
        if (c.nReceived == sizeof(CategoryRequest)) return Answer(table, nIndex, lists);
        if (nRead == 0) RefuseAndClose(table, nIndex);
        return;
    }
}

void RefuseAndClose(tagConnectionTable& table, uint32_t nIndex) {
    if (!table.connections[nIndex].bRefused) Refuse(table, nIndex);
    CloseConnection(table, nIndex);
}

namespace {

void Discard(tagConnectionTable& table, uint32_t nIndex) {
    tagConnection& c = table.connections[nIndex];
    const ssize_t nRead = recv(c.nSocket, c.request, sizeof c.request, 0);
    const bool bMayGoOn = nRead < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR);
    if (nRead <= 0 && !bMayGoOn) CloseConnection(table, nIndex);
}

// A reply always fits a new connection's send buffer; a peer that made it not fit gets what did.
void Answer(tagConnectionTable& table, uint32_t nIndex, const tagCategoryLists& lists) {
    tagConnection& c = table.connections[nIndex];
    std::string_view szURL;
    if (!ParseCategoryRequest(std::span(c.request, c.nReceived), &szURL)) return Refuse(table, nIndex);
    // Without lists nothing is known of any site, not even that it is in none.
    if (lists.map.nNames == 0) return Refuse(table, nIndex);
    uint16_t realIds[URLMAP_CATEGORIES_MAX];
    const uint32_t nIds = FindRealIds(lists, szURL, realIds);
    uint8_t reply[CATEGORY_REPLY_MAX];
    const size_t nReply = MakeCategoryReply(std::span(realIds, nIds), reply);
    (void)send(c.nSocket, reply, nReply, MSG_NOSIGNAL);
    CloseConnection(table, nIndex);
}

// Closing with bytes unread would reset the connection, and the peer would lose the refusal: so it is left to
// the peer to close, in what time it has left.
void Refuse(tagConnectionTable& table, uint32_t nIndex) {
    tagConnection& c = table.connections[nIndex];
    c.bRefused = 1;
    (void)send(c.nSocket, &CATSERVER_STATUS_REFUSED, sizeof CATSERVER_STATUS_REFUSED, MSG_NOSIGNAL);
    shutdown(c.nSocket, SHUT_WR);
}

}  // namespace
