// websecctl doctor and status: each thing that may be wrong with a host or a daemon is named, with what to
// do.
#include <gmock/gmock.h>
#include <signal.h>

#include "tests/e2e/category_server.h"
#include "tests/e2e/daemon.h"
#include "tests/e2e/lab.h"
#include "tests/e2e/queue_taker.h"
#include "tests/support/list_maps.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class Doctor : public LabTest {};

TEST_F(Doctor, FindsNothingWrongWithADaemonThatWorks) {
    WriteFile(ProductFile("websec.cfg"), "[ServiceConfigurations]\nLiveTraffic=1\nCloseBypasses=1\n");
    tagDaemon daemon = StartDaemon();
    EXPECT_TRUE(Within(5000, [] { return Shell("websecctl status").nStatus == 0; }))
        << Shell("websecctl status").output;
    EXPECT_THAT(
        Shell("websecctl status").output,
        AllOf(HasSubstr(" threads, since "), HasSubstr("settings of "), HasSubstr("5 of 5 sound, 5 loaded"),
              HasSubstr(Shell("websecctl rules check").output), Not(HasSubstr("problem "))));
    const tagOutcome doctor = Shell("websecctl doctor");
    EXPECT_EQ(doctor.nStatus, 0) << doctor.output;
    EXPECT_THAT(doctor.output, AllOf(HasSubstr("usable: NFQUEUE u32 string multiport connmark"),
                                     HasSubstr("can be bound"), Not(HasSubstr("QUIC is not seen"))));
    const tagOutcome user = Shell("setpriv --reuid=65534 --regid=65534 --clear-groups websecctl status");
    EXPECT_EQ(user.nStatus, 1);
    EXPECT_THAT(user.output, AllOf(HasSubstr("only root can see whether"), Not(HasSubstr("problem "))));
    EXPECT_EQ(StopDaemon(daemon), 0);
}

TEST_F(Doctor, NamesTheCauseAndTheRemedy) {
    const std::string config = ProductFile("websec.cfg"), scanner = ProductFile("urlcheck.so");
    const std::string category = ProductFile("libwebcat.so");
    const std::string words = ProductFile("translation/en_US.utf8/LC_MESSAGES/lang.mo");
    const std::string database = "/var/lib/websec/websec.db", folder = "/var/lib/websec";
    const struct {
        std::string breaks, repairs;
        const char* szText;
        const char* szRemedy;
        bool bFails;
    } rows[] = {
        {"printf '[ServiceConfigurations]\\nLiveTraffic=1\\n' >" + config, "rm " + config,
         "LiveTraffic is 1 there and 0 in the running websec", "restart websec", false},
        {"printf '[IPTABLEConfigurations]\\nqueueNum=x\\n' >" + config, "rm " + config,
         "queueNum is 'x', not", "correct /usr/lib/Morvane", false},
        {"mv " + scanner + " /tmp/s", "mv /tmp/s " + scanner, "urlcheck.so is missing", "install websec",
         true},
        {"mv " + category + " /tmp/c", "mv /tmp/c " + category, "cannot load libwebcat.so", "install websec",
         true},
        {"mv " + database + " /tmp/d", "mv /tmp/d " + database, "no settings store at", "", true},
        {"mv " + database + " /tmp/d; echo x >" + database, "mv /tmp/d " + database, "the file is damaged",
         "import-settings", true},
        {"printf x >" + ProductFile("wsintip.dat"), "rm " + ProductFile("wsintip.dat"),
         "is damaged: it is cut", "websecctl datafile build", false},
        {"mount -t tmpfs -o ro tmpfs " + folder, "umount " + folder, "is read-only", "mount it for writing",
         true},
        {"cp -a " + folder + " /tmp/f; mount -t tmpfs -o size=1m tmpfs " + folder + "; cp -a /tmp/f/. " +
             folder + "; dd if=/dev/zero bs=4k of=" + folder + "/x 2>/dev/null; true",
         "umount " + folder, "is full", "free some space", true},
        {"touch -d '+1 day' " + config, "rm " + config, "websec.cfg is of the future", "set the clock right",
         false},
        {"mv " + words + " /tmp/w", "mv /tmp/w " + words, "no sound catalogue", "install websec", false},
        {"printf '[IPTABLEConfigurations]\\niptableTable=nat\\n' >" + config, "rm " + config,
         "from its next start websec has no rules that work", "correct /usr/lib/Morvane", false},
        {"printf '[IPTABLEConfigurations]\\nUseDefinedPorts=1\\nFTPPorts=\\n' >" + config, "rm " + config,
         "websec.cfg gives no rule for one list: FTPPorts", "correct /usr/lib/Morvane", false},
        {"iptables-save -t mangle >/tmp/r; iptables -t mangle -D POSTROUTING 1", "iptables-restore /tmp/r",
         "2 rules in mangle POSTROUTING", "within a minute", true},
        {"mv /usr/sbin/iptables /tmp/i", "mv /tmp/i /usr/sbin/iptables", "there is no iptables binary",
         "install iptables", true},
        {"pkill -STOP -x websec; sleep 0.2", "pkill -CONT -x websec", "websec is stopped", "kill -CONT",
         true},
    };
    tagDaemon daemon = StartDaemon();
    for (const auto& row : rows) {
        MustRun(row.breaks);
        const tagOutcome doctor = Shell("websecctl doctor");
        MustRun(row.repairs);
        EXPECT_EQ(doctor.nStatus, row.bFails ? 1 : 0) << doctor.output;
        EXPECT_THAT(doctor.output, AllOf(HasSubstr(row.szText), HasSubstr(row.szRemedy))) << row.breaks;
        EXPECT_LE(CountText(doctor.output, "settings store"), 1u) << doctor.output;
        EXPECT_THAT(doctor.output, Not(HasSubstr("I/O error")));
    }
    EXPECT_EQ(Shell("websecctl doctor").nStatus, 0);
    kill(daemon.pid, SIGKILL);
    (void)AwaitEnd(daemon);
    EXPECT_THAT(
        Shell("websecctl doctor").output,
        AllOf(HasSubstr("websec is not running"), HasSubstr("systemctl start websec"),
              HasSubstr("left 3 rules in mangle POSTROUTING: "), HasSubstr("websecctl rules remove")));
    EXPECT_EQ(Shell("websecctl status").nStatus, 1);
    MustRun("websecctl rules remove");
    MustRun("iptables -t mangle -N WEBSEC_LIVE");
    EXPECT_THAT(Shell("websecctl status").output,
                AllOf(HasSubstr("left the chain WEBSEC_LIVE: nothing"), Not(HasSubstr("get lost"))));
    MustRun("websecctl rules remove");
    WriteFile(config, "[ServiceConfigurations]\nCloseBypasses=1\n");
    tagDaemon closing = StartDaemon();
    MustRun("iptables -t mangle -F POSTROUTING");
    kill(closing.pid, SIGKILL);
    (void)AwaitEnd(closing);
    EXPECT_THAT(Shell("websecctl doctor").output, HasSubstr("left the chain WEBSEC_CLOSE: "));
    MustRun("rm " + config);
    tagDaemon plain = StartDaemon();
    EXPECT_THAT(Shell("websecctl doctor").output, HasSubstr("killed has left the chain WEBSEC_CLOSE"));
    EXPECT_EQ(StopDaemon(plain), 0);
    MustRun("websecctl rules remove");
    EXPECT_THAT(Shell("websecctl doctor").output, Not(HasSubstr("has left")));
    const QueueTaker other;
    EXPECT_THAT(Shell("websecctl doctor").output, HasSubstr("websec cannot have it"));
}

// A daemon with rules that see nothing, and what stands in their way.
TEST_F(Doctor, NamesWhyRulesSeeNothing) {
    const struct {
        const char* szKeys;
        const char* szPrepare;
        const char* szText;
    } rows[] = {
        {"iptableTable=nat", "true", "iptableTable is 'nat', which sees only the first packet"},
        {"iptableChain=INPUT", "true", "iptableChain is 'INPUT', through which nothing goes"},
        {"queueNum=70000", "true", "queueNum is 70000, not"},
        {"UseDefinedPorts=1\nHTTPPorts=1,2,3,4,5,6,7,8,9,10,11,12,13,14,15",
         "echo 8080 | websecctl datafile build ports /usr/lib/Morvane/Morvane/wswebflt.dat",
         "14,15,8080', not"},
        {"iptableChain=A",
         "iptables -t mangle -N A; iptables -t mangle -N DEAD; iptables -t mangle -A DEAD -j A",
         "nothing that this host sends comes through the chain A"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szKeys);
        WriteFile(ProductFile("websec.cfg"), std::string("[IPTABLEConfigurations]\n") + row.szKeys + "\n");
        MustRun(row.szPrepare);
        tagDaemon daemon = LaunchDaemon();
        EXPECT_TRUE(Within(10000, [&] { return LetsSignalsIn(daemon.pid); }));
        const tagOutcome doctor = Shell("websecctl doctor");
        EXPECT_THAT(doctor.output, AllOf(HasSubstr(row.szText), Not(HasSubstr("iptables cannot use")),
                                         Not(HasSubstr("names a rule wrongly"))));
        EXPECT_EQ(Shell("websecctl status").nStatus, 1);
        EXPECT_EQ(StopDaemon(daemon), 0);
    }
    MustRun("iptables -t mangle -F; iptables -t mangle -X");
}

TEST_F(Doctor, TellsCategoryServersApart) {
    WriteFile(ProductFile("websec.cfg"), "[ServiceConfigurations]\ncatEngine=2\n");
    MustRun("websecctl protection category on");
    const auto told = [] { return Shell("websecctl doctor").output; };
    EXPECT_THAT(told(), HasSubstr("nobody listens at 127.0.0.1:7101"));
    {
        const Catserver empty;
        EXPECT_THAT(told(), HasSubstr("has no list to answer from"));
    }
    WriteCategoryList({{"games.example", 50}});
    const Catserver full;
    EXPECT_THAT(told(), HasSubstr("category server at 127.0.0.1:7101, which answers"));
}
