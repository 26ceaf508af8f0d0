// Runs the built websecctl as an administrator would, on a settings store and a folder of its own.
#pragma once

#include <fcntl.h>

#include <string>
#include <vector>

#include "tests/unit/common/temp_folder.h"

struct tagRun {
    int nStatus;
    std::string out;
    std::string err;
};

class WebsecctlTest : public ::testing::Test {
  protected:
    WebsecctlTest() { setenv("WEBSEC_DB", Path("websec.db").c_str(), 1); }

    std::string Path(const std::string& name) const { return m_folder.Path(name); }

    tagRun Run(std::vector<std::string> arguments, const std::string& input = "") {
        return Finish(Start(std::move(arguments), input));
    }
    // In two steps, for what happens while it runs; one at a time. Its output goes to the file "stdout", or
    // to that descriptor.
    pid_t Start(std::vector<std::string> arguments, const std::string& input = "", int fdOutput = -1) {
        WriteFile("stdin", input);
        const pid_t pid = fork();
        if (pid == 0) {
            Redirect("stdin", STDIN_FILENO, O_RDONLY);
            Redirect("stdout", STDOUT_FILENO, O_WRONLY | O_CREAT | O_TRUNC);
            if (fdOutput != -1) dup2(fdOutput, STDOUT_FILENO);
            Redirect("stderr", STDERR_FILENO, O_WRONLY | O_CREAT | O_TRUNC);
            arguments.insert(arguments.begin(), WEBSECCTL);
            std::vector<char*> argv;
            for (auto& argument : arguments)
                argv.push_back(argument.data());
            argv.push_back(nullptr);
            execv(WEBSECCTL, argv.data());
            _exit(127);
        }
        return pid;
    }
    tagRun Finish(pid_t pid) {
        int nStatus = 0;
        waitpid(pid, &nStatus, 0);
        return {WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1, ReadFile("stdout"), ReadFile("stderr")};
    }

    void WriteFile(const std::string& name, const std::string& bytes) { m_folder.Put(name, bytes); }
    std::string ReadFile(const std::string& name) { return m_folder.Get(name); }

  private:
    void Redirect(const char* szName, int fd, int nFlags) {
        dup2(open(Path(szName).c_str(), nFlags, 0600), fd);
    }

    TempFolder m_folder;
};
