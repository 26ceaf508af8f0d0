#include "service/daemonize.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <initializer_list>

#include "common/own_stdout.h"

int DaemonizeProcess() {
    const pid_t child = fork();
    if (child < 0) return 1;
    if (child > 0) std::exit(0);
    umask(0);
    if (setsid() < 0) return 1;
    if (chdir("/") < 0) return 1;
    for (const int fd : {0, 1, 2})
        close(fd);
    // From here on these numbers belong to whatever opens next.
    g_bStdoutIsOurs = 0;
    return 0;
}
