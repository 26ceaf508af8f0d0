#include "ctl/run_program.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "ctl/output.h"

namespace {

[[noreturn]] void BecomeProgram(const std::vector<std::string>& arguments, int fdOutput);

}  // namespace

tagProgramRun RunProgram(const std::vector<std::string>& arguments) {
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0)
        throw CtlError(std::string("cannot make a pipe: ") + std::strerror(errno));
    const pid_t pid = fork();
    if (pid == 0) BecomeProgram(arguments, fds[1]);
    close(fds[1]);
    tagProgramRun run{};
    char szPiece[4096];
    ssize_t n = 0;
    while (pid > 0 && ((n = read(fds[0], szPiece, sizeof szPiece)) > 0 || (n < 0 && errno == EINTR))) {
        if (n > 0) run.output.append(szPiece, static_cast<size_t>(n));
    }
    close(fds[0]);
    if (pid < 0) throw CtlError("cannot start " + arguments[0]);
    int nStatus = 0;
    while (waitpid(pid, &nStatus, 0) < 0 && errno == EINTR) {
    }
    run.nExitStatus = WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 128 + WTERMSIG(nStatus);
    return run;
}

namespace {

void BecomeProgram(const std::vector<std::string>& arguments, int fdOutput) {
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (const auto& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    const int fdNull = open("/dev/null", O_RDONLY);
    if (fdNull >= 0) dup2(fdNull, STDIN_FILENO);
    dup2(fdOutput, STDOUT_FILENO);
    dup2(fdOutput, STDERR_FILENO);
    execv(argv[0], argv.data());
    _exit(127);
}

}  // namespace
