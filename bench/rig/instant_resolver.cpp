// Preloaded into the daemon: a resolver that answers at once that it knows no name for now, so that a start
// takes what the daemon itself takes. The system's looks at two files for each name before it does anything
// else.
#include <netdb.h>

#include "common/export.h"

WEBSEC_API int getaddrinfo(const char*, const char*, const addrinfo*, addrinfo** ppAnswer) {
    *ppAnswer = nullptr;
    return EAI_AGAIN;
}
