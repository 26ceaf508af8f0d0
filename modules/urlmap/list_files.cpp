#include "modules/urlmap/list_files.h"

#include <stdio.h>
#include <stdlib.h>

void ListFilePath(char (&szPath)[LIST_PATH_BYTES], const char* szName) {
    const char* szFolder = secure_getenv("WEBSEC_LISTS");
    if (!szFolder || !*szFolder) szFolder = LISTS_DIR;
    const int nLength = snprintf(szPath, sizeof szPath, "%s/%s", szFolder, szName);
    if (nLength < 0 || static_cast<size_t>(nLength) >= sizeof szPath) szPath[0] = '\0';
}

int OpenListFile(tagURLMap* pMap, const char* szName, uint32_t nKind) {
    char szPath[LIST_PATH_BYTES];
    ListFilePath(szPath, szName);
    return OpenURLMap(pMap, szPath, nKind);
}
