#include "tests/e2e/lab.h"

#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

#include "common/product_paths.h"
#include "tests/e2e/daemon.h"

namespace {
constexpr char IPTABLES[] = "/usr/sbin/iptables";
std::string s_Kind = "nft";

std::string RealIptables() {
    return "/usr/sbin/iptables-" + s_Kind;
}

// The programs that are used beside it: where their links in /usr/sbin lead.
void LinkCompanions(const std::function<std::string(const std::string&, const std::string&)>& target) {
    const std::pair<const char*, const char*> programs[] = {
        {"iptables", "-restore"}, {"ip6tables", ""}, {"ip6tables", "-restore"}};
    for (const auto& [szFamily, szProgram] : programs)
        MustRun("ln -sf " + target(szFamily, szProgram) + " /usr/sbin/" + szFamily + szProgram);
}

void ReadToEnd(FILE* pFile, std::string& text) {
    char block[4096];
    for (size_t n = 0; (n = fread(block, 1, sizeof block, pFile)) != 0;)
        text.append(block, n);
}
}  // namespace

tagOutcome Shell(const std::string& command) {
    tagOutcome outcome{127, ""};
    FILE* pPipe = popen(("{ " + command + "\n} 2>&1").c_str(), "re");
    if (!pPipe) return outcome;
    ReadToEnd(pPipe, outcome.output);
    const int nWait = pclose(pPipe);
    outcome.nStatus = WIFEXITED(nWait) ? WEXITSTATUS(nWait) : 128 + WTERMSIG(nWait);
    return outcome;
}

std::string MustRun(const std::string& command) {
    const tagOutcome outcome = Shell(command);
    EXPECT_EQ(outcome.nStatus, 0) << command << "\n" << outcome.output;
    return outcome.output;
}

std::string LabFile(std::string_view name) {
    return std::string(std::getenv("LAB_DIR")) + "/" + std::string(name);
}

// Not with a stream: the end of a process between opening and reading its file in /proc would throw.
std::string ReadFile(const std::string& path) {
    std::string text;
    FILE* pFile = fopen(path.c_str(), "re");
    if (!pFile) return text;
    ReadToEnd(pFile, text);
    fclose(pFile);
    return text;
}

void WriteFile(const std::string& path, std::string_view text) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

std::string ProductFile(std::string_view name) {
    return PRODUCT_DIR + std::string(name);
}

bool Within(int nMilliseconds, const std::function<bool()>& isTrue) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(nMilliseconds);
    while (!isTrue()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

size_t ServersSaw(std::string_view text) {
    std::istringstream log(ReadFile(LabFile("access.log")));
    size_t nSeen = 0;
    for (std::string line; std::getline(log, line);)
        nSeen += line.find(text) != line.npos;
    return nSeen;
}

void UseIptables(const std::string& kind, const std::string& body) {
    s_Kind = kind;
    const std::string log = LabFile("iptables.calls");
    WriteFile(log, "");
    (void)Shell(std::string("rm -f ") + IPTABLES);
    WriteFile(IPTABLES, "#!/bin/sh\nprintf '%s\\n' \"$*\" >>" + log + "\n" + body + "\nexec " +
                            RealIptables() + " \"$@\"\n");
    (void)Shell(std::string("chmod 755 ") + IPTABLES);
    LinkCompanions([&](const std::string& family, const std::string& program) {
        return "/usr/sbin/" + family + "-" + kind + program;
    });
}

std::string IptablesCalls() {
    return ReadFile(LabFile("iptables.calls"));
}

void ForgetIptablesCalls() {
    WriteFile(LabFile("iptables.calls"), "");
}

std::string ChainRules() {
    return Shell(RealIptables() + " -t mangle -S POSTROUTING").output;
}

size_t QueueRules() {
    return CountText(ChainRules(), "-j NFQUEUE");
}

size_t CountText(std::string_view text, std::string_view part) {
    size_t nFound = 0;
    for (size_t n = text.find(part); n != text.npos; n = text.find(part, n + part.size()))
        ++nFound;
    return nFound;
}

void LabTest::SetUp() {
    // A build with a sanitizer tells what it finds here; the daemon has no standard error. Frames that a
    // cancelled thread leaves behind stay marked on its real stack, so AddressSanitizer keeps them elsewhere.
    for (const char* szName : {"LSAN_OPTIONS", "TSAN_OPTIONS"})
        setenv(szName, ("log_path=" + LabFile("sanitizer")).c_str(), 1);
    setenv("ASAN_OPTIONS", ("detect_stack_use_after_return=1:log_path=" + LabFile("sanitizer")).c_str(), 1);
    setenv("UBSAN_OPTIONS", ("print_stacktrace=1:log_path=" + LabFile("sanitizer")).c_str(), 1);
    (void)Shell("rm -rf /var/lib/websec; cd " PRODUCT_DIR " && rm -f websec.cfg *.opt *.dat");
    (void)Shell(std::string("ln -sf /etc/alternatives/iptables ") + IPTABLES);
    LinkCompanions([](const std::string& family, const std::string& program) {
        return "/etc/alternatives/" + family + program;
    });
    s_Kind = "nft";
    MustRun("websecctl protection report on");
}

void LabTest::TearDown() {
    EXPECT_TRUE(StopLeftDaemons());
    EXPECT_EQ(QueueRules(), 0u) << "rules were left behind";
    (void)Shell(RealIptables() + " -t mangle -F");
    const tagOutcome findings =
        Shell("cat " + LabFile("sanitizer.*") + " && rm -f " + LabFile("sanitizer.*"));
    EXPECT_NE(findings.nStatus, 0) << findings.output;
}
