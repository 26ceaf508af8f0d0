// What every end-to-end test stands on: the lab's host (tests/support/lab.sh), which belongs to the test
// program alone, with the installed product on it. Call from the test's thread only.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>

struct tagOutcome {
    int nStatus;         // exit status; 128 + signal when it was killed
    std::string output;  // standard output and standard error
};

// Runs a shell command to its end.
tagOutcome Shell(const std::string& command);
// The same for a command that must succeed: a failure fails the test. The output.
std::string MustRun(const std::string& command);

// A file of the lab's servers or the test's own, below LAB_DIR.
std::string LabFile(std::string_view name);
std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, std::string_view text);
// The path of a file in the product directory.
std::string ProductFile(std::string_view name);

// Asks again every few milliseconds. False when it did not come true in that time.
bool Within(int nMilliseconds, const std::function<bool()>& isTrue);

// How many lines of the web servers' log contain the text. A server writes its line behind the answer, so a
// request that came is counted with Within.
size_t ServersSaw(std::string_view text);

// Puts a script in the place of /usr/sbin/iptables that runs `body` and then the real program of that kind
// ("nft" or "legacy"); iptables-restore and those for IPv6 are of that kind, too. Each call's arguments stand
// as a line in IptablesCalls().
void UseIptables(const std::string& kind, const std::string& body = "");
// The calls since UseIptables or ForgetIptablesCalls, a line each.
std::string IptablesCalls();
void ForgetIptablesCalls();

// The rules in the daemon's chain, as the real program of the kind in use writes them (-S); how many of them
// go to the queue.
std::string ChainRules();
size_t QueueRules();

size_t CountText(std::string_view text, std::string_view part);

// Begins with a new store, no files but the product's own and no rules. Afterwards what runs still must end
// in order, and nothing may be left of a daemon: no rules, no sanitizer's finding.
class LabTest : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;
};
