#include "report/session_user.h"

#include <string.h>
#include <utmp.h>

#include <algorithm>

char g_szSessionUser[512];

uint32_t GetSessionUser(char* szUser, uint32_t nSize) {
    if (!szUser || nSize == 0) return 2;
    setutent();
    const utmp* pEntry = getutent();
    while (pEntry && pEntry->ut_type != USER_PROCESS)
        pEntry = getutent();
    if (pEntry) {
        // A name as long as its field has no terminator.
        const size_t nField = strnlen(pEntry->ut_user, sizeof pEntry->ut_user);
        const size_t nCopied = std::min<size_t>(nField, nSize - 1);
        memcpy(szUser, pEntry->ut_user, nCopied);
        szUser[nCopied] = '\0';
    }
    endutent();
    return 0;
}
