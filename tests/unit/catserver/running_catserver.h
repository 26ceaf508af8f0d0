// The real websec-catserver as a child process. It is given a listening socket of its own, as a service
// manager would, so that tests may run side by side.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

// What a finished process left: its exit status (-1: it did not exit) and standard error.
struct tagEndedProcess {
    int nStatus;
    std::string szErrors;
};

// Runs the program to its end with no socket handed over, but descriptor 3 open on /dev/null. Both texts are
// a shell's, whose process becomes the program: LISTEN_PID=$$ in the environment names the program itself.
tagEndedProcess RunCatserver(const std::string& environment, const std::string& arguments);

class RunningCatserver {
  public:
    explicit RunningCatserver(const std::string& szListsDir);
    ~RunningCatserver();
    RunningCatserver(const RunningCatserver&) = delete;
    RunningCatserver& operator=(const RunningCatserver&) = delete;

    // A connection to it, whose operations time out after five seconds; closed by its taker.
    int Connect() const;

    // Sends the bytes on a connection of its own, says that no more will come if told to, and takes the whole
    // reply.
    std::string Ask(const std::string& request, bool bEnd = false) const;

    void Reload() const;

    // Ends it by SIGTERM. Its exit status.
    int Stop();

  private:
    pid_t m_nPid = -1;
    uint16_t m_nPort = 0;
};

// All that comes until the peer closes; "TIMEOUT" or "RESET" instead when it does not or not properly.
std::string TakeAll(int nSocket);
