// A folder of its own for each test, and a child process for what would change the test program itself.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
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

// Runs the function in a forked child; gives what it returns (0 to 255).
template <class Function>
int RunInChild(Function function) {
    const pid_t child = fork();
    if (child == 0) _exit(function());
    int nStatus = -1;
    waitpid(child, &nStatus, 0);
    return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
}
