// The sections of status and doctor about the host itself: what websec needs of it, and what it cannot see.
#include <glob.h>
#include <locale.h>
#include <unistd.h>

#include <iterator>
#include <sstream>

#include "category/catalogue_file.h"
#include "common/product_paths.h"
#include "ctl/config_check.h"
#include "ctl/private_network.h"
#include "ctl/queue_owner.h"
#include "ctl/read_file.h"
#include "ctl/rule_count.h"
#include "ctl/run_program.h"
#include "ctl/status.h"
#include "intercept/queue_channel.h"
#include "service/service_config.h"

namespace {

constexpr char LOCALE[] = "en_US.utf8";  // in which the daemon translates
constexpr char CATALOGUE[] = PRODUCT_DIR "translation/en_US.utf8/LC_MESSAGES/lang.mo";
constexpr char TRY_REMEDY[] = "load the kernel's module, or boot a kernel that has it";

bool HasIPv6();

// A rule that websec may want to make, tried where it changes nothing.
struct tagMatchTry {
    const char* szName;
    const char* szModule;
    const char* szRule;     // behind -A OUTPUT
    const char* szWithout;  // what websec does then
    bool (*IsNeeded)(const tagHost& host);
    const char* szTable = nullptr;  // null: where websec's rules are
    const char* szProgram = "iptables";
};
constexpr tagMatchTry MATCH_TRIES[] = {
    {"NFQUEUE", "xt_NFQUEUE", "-p tcp -j NFQUEUE --queue-num 0", "nothing reaches websec",
     [](const tagHost&) { return true; }},
    {"u32", "xt_u32", "-p tcp -m u32 --u32 0x0=0x0:0xffffffff -j NFQUEUE --queue-num 0",
     "websec takes the string match in its place, and LiveTraffic does not work",
     [](const tagHost& host) { return host.bLiveTraffic; }},
    {"string", "xt_string",
     "-p tcp -m string --hex-string |1603| --from 40 --algo bm -j NFQUEUE --queue-num 0",
     "websec has nothing to put in the place of u32", [](const tagHost&) { return false; }},
    {"multiport", "xt_multiport", "-p tcp -m multiport --dports 80,443 -j NFQUEUE --queue-num 0",
     "UseDefinedPorts and CloseBypasses do not work",
     [](const tagHost& host) { return host.config.bUseDefinedPorts != 0 || host.bCloseBypasses; }},
    {"connmark", "xt_connmark",
     "-p tcp -m connmark --mark 0x0/0x1 -m conntrack --ctdir ORIGINAL -j CONNMARK --set-xmark 0x0/0x1",
     "LiveTraffic does not work", [](const tagHost& host) { return host.bLiveTraffic; }},
    {"mark", "xt_mark", "-p tcp -m mark --mark 0x0/0x1 -j MARK --set-xmark 0x0/0x1",
     "LiveTraffic does not work", [](const tagHost& host) { return host.bLiveTraffic; }},
    {"REJECT", "ipt_REJECT", "-p udp --dport 443 -j REJECT --reject-with icmp-port-unreachable",
     "CloseBypasses does not work", [](const tagHost& host) { return host.bCloseBypasses; }, "filter"},
    {"ip6tables", "ip6t_REJECT", "-p udp --dport 443 -j REJECT --reject-with icmp6-port-unreachable",
     "CloseBypasses leaves IPv6 alone", [](const tagHost& host) { return host.bCloseBypasses && HasIPv6(); },
     "filter", "ip6tables"},
};

// What of CloseBypasses is in force.
struct tagClosed {
    bool bQuic;  // over IPv4
    bool bIPv6;
};

bool CanMake(const tagMatchTry& one, const tagHost& host);
int BindQueueHere();
tagClosed FindClosed(const tagHost& host);
bool HasWords();

}  // namespace

void AddLocale(tagStatus& status, tagHost&) {
    const locale_t locale = newlocale(LC_ALL_MASK, LOCALE, nullptr);
    status.document["locale"] = locale != nullptr;
    status.rows.push_back({"locale", std::string(LOCALE) + (locale ? " is there" : " is missing")});
    if (locale) {
        freelocale(locale);
        if (!HasWords()) {
            status.Warn("there is no sound catalogue " + std::string(CATALOGUE) +
                            ": reports speak message keys, not words",
                        "install websec again, and restart it");
        }
        return;
    }
    status.Warn(std::string("the locale ") + LOCALE + " is missing: reports speak message keys, not words",
                "sudo localedef -i en_US -f UTF-8 en_US.UTF-8, and restart websec");
}

void AddUnseen(tagStatus& status, tagHost& host) {
    const tagClosed closed = FindClosed(host);
    Json& document = status.document["not_seen"] = Json::array();
    std::string unseen;
    const auto note = [&](const char* szKey, const std::string& text, const std::string& remedy) {
        document.push_back(szKey);
        unseen += (unseen.empty() ? "" : ", ") + std::string(szKey);
        status.Warn(text, remedy);
    };
    constexpr char CLOSE[] = "set CloseBypasses=1 in websec.cfg, and restart websec";
    if (!closed.bQuic) {
        note("QUIC", "QUIC is not seen and passes: browsers use it where a site offers it", CLOSE);
    }
    if (!closed.bIPv6 && HasIPv6()) {
        closed.bQuic ? note("IPv6",
                            "CloseBypasses does not refuse IPv6 here, which is not seen and passes: there is "
                            "no way out over IPv4, or no ip6tables that works",
                            "give the host a way out over IPv4 (seen within a minute), or install ip6tables; "
                            "or turn IPv6 off")
                     : note("IPv6", "this host has IPv6, which is not seen and passes", CLOSE);
    }
    if (!host.bRunsLive) {
        note(
            "segments",
            "LiveTraffic is 0: requests in several segments, as today's browsers send them, are not seen and "
            "pass",
            "set LiveTraffic=1 in websec.cfg, and restart websec");
    }
    constexpr char NEVER[] = "VPNs, proxies, encrypted ClientHellos, other ports of QUIC";
    status.rows.push_back({"not seen", unseen.empty() ? NEVER : unseen + "; see the warnings"});
}

void AddRights(tagStatus& status, tagHost&) {
    status.rows.push_back({"rights", "root"});
    if (geteuid() != 0) status.Fail("only root sees all that is to be checked", "sudo websecctl doctor");
}

void AddIptables(tagStatus& status, tagHost&) {
    const std::string path = IptablesPath();
    const tagProgramRun run = RunProgram({path, "-V"});
    const std::string version = Printable(run.output.substr(0, run.output.find('\n')));
    status.rows.push_back({"iptables", path + ", " + version});
    if (run.nExitStatus != 0) status.Fail(path + " does not run: " + version, "install iptables again");
}

void AddMatches(tagStatus& status, tagHost& host) {
    (void)IptablesPath();
    std::string usable, missing;
    for (const tagMatchTry& one : MATCH_TRIES) {
        const bool bMakes = CanMake(one, host);
        (bMakes ? usable : missing) += std::string(" ") + one.szName;
        if (bMakes) continue;
        const std::string text = std::string("iptables cannot use ") + one.szName + " here: " + one.szWithout;
        const std::string remedy = std::string("modprobe ") + one.szModule + "; else " + TRY_REMEDY;
        one.IsNeeded(host) ? status.Fail(text, remedy) : status.Warn(text, remedy);
    }
    if (missing.find(" u32 string") != missing.npos) {
        status.Fail("without u32 and string websec can make no rule: nothing is blocked", TRY_REMEDY);
    }
    status.rows.push_back({"matches", "usable:" + usable});
}

void AddKernelQueue(tagStatus& status, tagHost&) {
    if (RunInPrivateNetwork(BindQueueHere) == 0) {
        return status.rows.push_back({"kernel queue", "can be bound"});
    }
    status.Fail("the kernel gives no netfilter queue: nothing reaches websec",
                std::string("modprobe nfnetlink_queue; else ") + TRY_REMEDY);
}

namespace {

// In a table that there is none of nothing can be tried.
bool CanMake(const tagMatchTry& one, const tagHost& host) {
    const std::string table = one.szTable ? one.szTable : IsRuleTable(host.Table()) ? host.Table() : "mangle";
    std::istringstream words(one.szRule);
    std::vector<std::string> arguments = {IptablesPath(one.szProgram), "-t", table, "-A", "OUTPUT"};
    arguments.insert(arguments.end(), std::istream_iterator<std::string>(words), {});
    return RunInPrivateNetwork([&arguments] { return RunProgram(arguments).nExitStatus; }) == 0;
}

// As the daemon binds it. 0 when the kernel lists it then.
int BindQueueHere() {
    tagQueueReceiver receiver{};
    g_bLiveTraffic = 1;  // awaits the kernel's answers
    if (OpenQueueChannel(receiver) != 0) return 1;
    const auto queues = ReadTextFile(QUEUE_LIST_FILE);
    return queues && !ParseBoundQueues(*queues).empty() ? 0 : 1;
}

// The running daemon's rules tell with which value it started, and what it could make of it.
tagClosed FindClosed(const tagHost& host) {
    if (!host.daemon || geteuid() != 0) return {host.bCloseBypasses, host.bCloseBypasses};
    const tagProgramRun run = RunProgram({IptablesPath("ip6tables"), "-t", "filter", "-S"});
    const bool bTcp = run.output.find(std::string("-A ") + CLOSE_CHAIN + " -p tcp ") != run.output.npos;
    return {HasJump(RulesOf(ListTable("filter"), "OUTPUT"), CLOSE_CHAIN),
            bTcp && HasJump(run.output, CLOSE_CHAIN)};
}

// Any that is damaged keeps all from being used.
bool HasWords() {
    glob_t found{};
    bool bSound = access(CATALOGUE, R_OK) == 0;
    if (glob(PRODUCT_DIR "translation/*/LC_MESSAGES/lang.mo", 0, nullptr, &found) == 0) {
        for (size_t n = 0; n < found.gl_pathc; ++n)
            bSound &= IsSoundCatalogue(found.gl_pathv[n]) == 1;
    }
    globfree(&found);
    return bSound;
}

// Whether there is an address that reaches beyond this host and its links (scope 00, global).
bool HasIPv6() {
    std::istringstream lines(ReadTextFile("/proc/net/if_inet6").value_or(""));
    std::string address, index, length, scope, flags, name;
    while (lines >> address >> index >> length >> scope >> flags >> name) {
        if (scope == "00") return true;
    }
    return false;
}

}  // namespace
