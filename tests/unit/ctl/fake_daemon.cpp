// A process that looks like the daemon from outside. Its argument says what it does on SIGHUP and SIGUSR2:
//   work FILE   works for a while with the control signals blocked, then makes FILE
//   die         ends
//   start       has no handler yet, and would be ended by the signal
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstring>

namespace {

const char* szMarkFile = nullptr;

void Work(int) {
    usleep(200 * 1000);
    close(open(szMarkFile, O_CREAT | O_WRONLY, 0600));
}

void Die(int) {
    _exit(3);
}

}  // namespace

int main(int argc, char** argv) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (argc < 2) return 2;
    if (argc > 2) szMarkFile = argv[2];
    if (std::strcmp(argv[1], "work") == 0) {
        signal(SIGHUP, Work);
        signal(SIGUSR2, Work);
    }
    if (std::strcmp(argv[1], "die") == 0) signal(SIGHUP, Die);
    (void)!write(STDOUT_FILENO, "r", 1);  // ready
    for (;;)
        pause();
}
