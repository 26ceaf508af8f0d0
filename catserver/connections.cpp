#include "catserver/connections.h"

#include <unistd.h>

void InitConnections(tagConnectionTable& table) {
    table.nOldest = table.nNewest = NO_CONNECTION;
    table.nFree = 0;
    for (uint32_t i = 0; i < CONNECTIONS_MAX; ++i) {
        table.connections[i].nSocket = -1;
        table.connections[i].nNewer = i + 1;  // the last one's is NO_CONNECTION
    }
}

uint32_t AddConnection(tagConnectionTable& table, int nSocket, int64_t nNow) {
    const uint32_t nIndex = table.nFree;
    if (nIndex == NO_CONNECTION) return NO_CONNECTION;
    tagConnection& c = table.connections[nIndex];
    table.nFree = c.nNewer;
    c.nSocket = nSocket;
    c.nDeadline = nNow + CONNECTION_TIME_MS;
    c.nReceived = 0;
    c.bRefused = 0;
    c.nOlder = table.nNewest;
    c.nNewer = NO_CONNECTION;
    (c.nOlder == NO_CONNECTION ? table.nOldest : table.connections[c.nOlder].nNewer) = nIndex;
    table.nNewest = nIndex;
    return nIndex;
}

void CloseConnection(tagConnectionTable& table, uint32_t nIndex) {
    tagConnection& c = table.connections[nIndex];
    if (c.nSocket < 0) return;
    close(c.nSocket);
    c.nSocket = -1;
    (c.nOlder == NO_CONNECTION ? table.nOldest : table.connections[c.nOlder].nNewer) = c.nNewer;
    (c.nNewer == NO_CONNECTION ? table.nNewest : table.connections[c.nNewer].nOlder) = c.nOlder;
    c.nNewer = table.nFree;
    table.nFree = nIndex;
}
