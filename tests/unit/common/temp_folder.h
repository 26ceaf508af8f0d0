// A folder of its own for each test, a disk that is full, and a child process for what would change the test
// program itself.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

class TempFolder {
  public:
    TempFolder() { m_bMade = mkdtemp(m_szPath) != nullptr; }
    ~TempFolder() {
        std::error_code ignored;
        if (m_bMade) std::filesystem::remove_all(m_szPath, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    std::string Path(const std::string& name = "") const { return std::string(m_szPath) + "/" + name; }

    std::string Put(const std::string& name, const std::string& bytes) const {
        std::ofstream(Path(name), std::ios::binary) << bytes;
        return Path(name);
    }

    std::string Get(const std::string& name) const {
        std::ifstream file(Path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    size_t CountFiles() const {
        return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(m_szPath), {}));
    }

  private:
    char m_szPath[32] = "/tmp/websec_test_XXXXXX";
    bool m_bMade;
};

// While it lives no file of this process may grow beyond so many bytes.
class FullDisk {
  public:
    explicit FullDisk(rlim_t nBytes) {
        signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit full = {nBytes, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &full);
    }
    ~FullDisk() { setrlimit(RLIMIT_FSIZE, &m_before); }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

  private:
    rlimit m_before;
};

// Runs the function in a forked child; gives what it returns (0 to 255).
template <class Function>
int RunInChild(Function function) {
    const pid_t child = fork();
    if (child == 0) _exit(function());
    int nStatus = -1;
    waitpid(child, &nStatus, 0);
    return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
}
