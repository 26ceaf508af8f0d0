#include "ctl/private_network.h"

#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "ctl/output.h"

namespace {

enum : int { CHILD_NO_NAMESPACE = 126, CHILD_FAILED = 125 };

[[noreturn]] void RunInChild(const std::function<int()>& function);

}  // namespace

int RunInPrivateNetwork(const std::function<int()>& function) {
    const pid_t pid = fork();
    if (pid == 0) RunInChild(function);
    int nStatus = 0;
    while (pid > 0 && waitpid(pid, &nStatus, 0) < 0 && errno == EINTR) {
    }
    const bool bEnded = pid > 0 && WIFEXITED(nStatus);
    if (pid < 0 || (bEnded && WEXITSTATUS(nStatus) == CHILD_NO_NAMESPACE)) {
        throw CtlError("cannot try it out: this system gives websecctl no network namespace of its own");
    }
    return bEnded ? WEXITSTATUS(nStatus) : CHILD_FAILED;
}

namespace {

void RunInChild(const std::function<int()>& function) {
    if (unshare(CLONE_NEWNET) != 0) _exit(CHILD_NO_NAMESPACE);
    try {
        _exit(function());
    } catch (const CtlError&) {
        _exit(CHILD_FAILED);
    }
}

}  // namespace
