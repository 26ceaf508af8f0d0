#include "intercept/run_command.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

int RunCommand(const char* szCommand, char* szOut, uint32_t nOutSize, uint32_t* pExitStatus) {
    if (!szCommand || !szOut || nOutSize == 0 || !pExitStatus) return -1;
    FILE* pPipe = popen(szCommand, "r");
    if (!pPipe) return -1;

    std::memset(szOut, 0, nOutSize);
    size_t nKept = 0;
    char szLine[1024];
    while (fgets(szLine, sizeof szLine, pPipe)) {
        const size_t nCopied = std::min(std::strlen(szLine), nOutSize - 1 - nKept);
        std::memcpy(szOut + nKept, szLine, nCopied);
        nKept += nCopied;
    }
    *pExitStatus = static_cast<uint32_t>(pclose(pPipe)) >> 8 & 0xFF;
    return 0;
}
