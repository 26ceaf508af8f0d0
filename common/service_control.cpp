#include "common/service_control.h"

#include <limits.h>
#include <stdio.h>
#include <stdlib.h>

#include <initializer_list>

#include "common/files.h"

namespace {

bool FindScript(char (&szScript)[PATH_MAX], const char* szService);
const char* CommandWord(int nAction);

}  // namespace

int HandleService(const char* service, int action, unsigned int* error) {
    if (!error) return 0;
    *error = 0;
    char szScript[PATH_MAX];
    if (!service || !FindScript(szScript, service)) {
        *error = SERVICE_NO_SCRIPT;
        return 0;
    }
    const char* szWord = CommandWord(action);
    if (!szWord) {
        *error = SERVICE_BAD_ACTION;
        return 0;
    }
    char szCommand[PATH_MAX + 32];
    snprintf(szCommand, sizeof(szCommand), "%s %s >/dev/null", szScript, szWord);
    (void)!system(szCommand);
    return 1;
}

namespace {

bool FindScript(char (&szScript)[PATH_MAX], const char* szService) {
    for (const char* szFolder : {"/etc/init.d/rc.d/", "/etc/init.d/"}) {
        const int nLength = snprintf(szScript, sizeof(szScript), "%s%s", szFolder, szService);
        if (nLength < PATH_MAX && IsValidPath(szScript)) return true;
    }
    return false;
}

const char* CommandWord(int nAction) {
    switch (nAction) {
        case SERVICE_START:
            return "start";
        case SERVICE_RESTART:
            return "restart";
        case SERVICE_STOP:
            return "stop";
        case SERVICE_STATUS:
            return "status";
        default:
            return nullptr;
    }
}

}  // namespace
