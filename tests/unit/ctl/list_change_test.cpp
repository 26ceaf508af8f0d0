// Lists that replace each other, go, fail, are interrupted or killed: what is in force then, and what is
// left.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <nlohmann/json.hpp>

#include "list_folder_of_import.h"

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;

class ListChangeTest : public ImportTest {
  protected:
    void Import(const char* szName, const std::string& text) {
        WriteFile("list.txt", text);
        const tagRun run = Run({"import", "phishing", Path("list.txt"), "--name", szName});
        ASSERT_EQ(run.nStatus, 0) << run.err;
    }
    // An import that waits for its input with the lock held, until the write end is closed.
    pid_t StartWaiting(int* pWriteEnd) {
        (void)mkfifo(Path("fifo").c_str(), 0600);
        *pWriteEnd = open(Path("fifo").c_str(), O_RDWR);
        const pid_t pid = Start({"import", "phishing", Path("fifo"), "--name", "a"});
        const int lock = open(Path("lists/.lock").c_str(), O_RDWR);
        while (flock(lock, LOCK_EX | LOCK_NB) == 0) {
            flock(lock, LOCK_UN);
            usleep(1000);
        }
        close(lock);
        return pid;
    }

    const std::set<std::string> m_two = {".lock", "phishing.map", "sources", "sources/phishing-1.map",
                                         "sources/phishing-2.map"};
};

TEST_F(ListChangeTest, ListsReplaceThemselvesAndLeaveTheOthers) {
    Import("a", "one.example\nboth.example\n");
    Import("b", "two.example\nboth.example\n");
    EXPECT_EQ(ThreatOf(PHISHING, "one.example"), "a");
    EXPECT_EQ(ThreatOf(PHISHING, "two.example"), "b");
    EXPECT_EQ(ThreatOf(PHISHING, "both.example"), "a");
    Import("a", "new.example\n");
    EXPECT_EQ(ThreatOf(PHISHING, "one.example"), "none");
    EXPECT_EQ(ThreatOf(PHISHING, "new.example"), "a");
    EXPECT_EQ(ThreatOf(PHISHING, "both.example"), "b");

    const json lists = json::parse(Run({"lists", "--json"}).out);
    ASSERT_EQ(lists["lists"].size(), 2u);
    EXPECT_EQ(lists["lists"][0]["files"][0], Path("list.txt"));
    EXPECT_EQ(lists["in_force"][0]["names"], 3);

    EXPECT_EQ(Run({"lists", "remove", "harmful", "a"}).nStatus, 1);
    EXPECT_EQ(Run({"lists", "remove", "phishing", "a"}).nStatus, 0);
    EXPECT_EQ(ThreatOf(PHISHING, "new.example"), "none");
    EXPECT_EQ(ThreatOf(PHISHING, "two.example"), "b");
    EXPECT_EQ(Run({"lists", "remove", "b"}).nStatus, 0);
    EXPECT_EQ(Files(), (std::set<std::string>{".lock", "sources"}));
}

TEST_F(ListChangeTest, InterruptedOrKilledImportLeavesTheOldList) {
    Import("a", "one.example\n");
    Import("b", "two.example\n");
    for (const int nSignal : {SIGINT, SIGTERM, SIGKILL}) {
        int writeEnd = -1;
        const pid_t pid = StartWaiting(&writeEnd);
        ASSERT_EQ(write(writeEnd, "new.example\n", 12), 12);
        kill(pid, nSignal);
        const tagRun run = Finish(pid);
        close(writeEnd);
        EXPECT_EQ(run.nStatus, nSignal == SIGKILL ? -1 : 1);
        if (nSignal != SIGKILL) {
            EXPECT_THAT(run.err, HasSubstr("interrupted; nothing was changed"));
        }
        EXPECT_EQ(ThreatOf(PHISHING, "one.example"), "a");
        EXPECT_EQ(Files(), m_two);
    }
}

TEST_F(ListChangeTest, FullDiskLeavesTheOldList) {
    Import("a", "one.example\n");
    Import("b", "two.example\n");
    std::string large;
    for (int n = 0; n < 150'000; ++n)
        large += "n" + std::to_string(n) + ".example\n";
    WriteFile("large.txt", large);
    tagRun run;
    {
        const FullDisk full(1 << 20);
        run = Run({"import", "phishing", Path("large.txt"), "--name", "a"});
    }
    EXPECT_EQ(run.nStatus, 1);
    EXPECT_THAT(run.err, HasSubstr("cannot write the list: File too large"));
    EXPECT_EQ(ThreatOf(PHISHING, "one.example"), "a");
    EXPECT_EQ(Files(), m_two);
}

// As if the process had been killed between the new list's coming into force and the store's knowing of it.
TEST_F(ListChangeTest, WhatAKilledChangeLeftIsPutInOrder) {
    Import("a", "one.example\n");
    Import("b", "two.example\n");
    Shell(
        "cp lists/sources/phishing-1.map lists/sources/phishing-3.map && "
        "cp lists/sources/phishing-2.map lists/phishing.map && touch lists/phishing.map.new "
        "lists/phishing.map.old lists/phishing.map.backup lists/phishing.map.new.tmp-AbCdEf "
        "lists/sources/phishing-4.map.tmp-AbCdEf && printf 'phishing\\nphishing-3.map\\n' > lists/.lock");
    ASSERT_EQ(ThreatOf(PHISHING, "one.example"), "none");
    const tagRun run = Run({"lists", "remove", "b"});
    EXPECT_THAT(run.err, HasSubstr("was killed"));
    EXPECT_EQ(ThreatOf(PHISHING, "one.example"), "a");
    EXPECT_EQ(Files(), (std::set<std::string>{".lock", "phishing.map.backup", "phishing.map",
                                              "phishing.map.old", "sources", "sources/phishing-1.map"}));
    EXPECT_EQ(Run({"lists"}).err, "");
}

TEST_F(ListChangeTest, SecondImportWaitsAndSaysSo) {
    Import("a", "one.example\n");
    const int lock = open(Path("lists/.lock").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    WriteFile("list.txt", "two.example\n");
    const pid_t pid = Start({"import", "phishing", Path("list.txt"), "--name", "b"});
    for (int n = 0; n < 30000 && ReadFile("stderr").find("waiting") == std::string::npos; ++n)
        usleep(1000);
    EXPECT_EQ(ThreatOf(PHISHING, "two.example"), "none");
    close(lock);
    const tagRun run = Finish(pid);
    EXPECT_EQ(run.nStatus, 0);
    EXPECT_THAT(run.err, HasSubstr("another change of the lists is at work; waiting"));
    EXPECT_EQ(ThreatOf(PHISHING, "two.example"), "b");
}

TEST_F(ListChangeTest, MissingAndDamagedFilesAreTold) {
    Import("a", "one.example\n");
    Import("b", "two.example\n");
    WriteFile("lists/sources/phishing-1.map", "WSURLMAP");
    std::filesystem::remove(Path(PHISHING));
    const tagRun run = Run({"lists"});
    EXPECT_THAT(run.out, AllOf(HasSubstr("damaged"), HasSubstr("not in force")));
    EXPECT_THAT(run.err, HasSubstr("phishing.map is missing: no phishing list is in force"));
    // The others come into force, and the damaged one is named.
    WriteFile("list.txt", "three.example\n");
    EXPECT_THAT(Run({"import", "phishing", Path("list.txt")}).err, HasSubstr("list 'a' is damaged"));
    EXPECT_EQ(ThreatOf(PHISHING, "two.example"), "b");
}

TEST_F(ListChangeTest, AnotherStoreDropsNoList) {
    Import("a", "one.example\n");
    WriteFile("list.txt", "two.example\n");
    std::filesystem::remove(Path("websec.db"));
    const tagRun run = Run({"import", "phishing", Path("list.txt")});
    EXPECT_EQ(run.nStatus, 1);
    EXPECT_THAT(run.err, HasSubstr("does not know (phishing-1.map)"));
    EXPECT_EQ(ThreatOf(PHISHING, "one.example"), "a");
    EXPECT_EQ(Run({"import", "harmful", Path("list.txt")}).nStatus, 0) << "other kinds are untouched";
    std::filesystem::remove(Path("lists/sources/phishing-1.map"));
    EXPECT_EQ(Run({"import", "phishing", Path("list.txt")}).nStatus, 0);
}

TEST_F(ListChangeTest, SourceThatTheSystemRefusesStaysInForce) {
    Import("a", "one.example\n");
    // Opening it fails with ELOOP, for root as well.
    Shell("cd lists/sources && mv phishing-1.map kept && ln -s phishing-1.map phishing-1.map");
    WriteFile("list.txt", "two.example\n");
    const tagRun run = Run({"import", "phishing", Path("list.txt"), "--name", "b"});
    EXPECT_EQ(run.nStatus, 1);
    EXPECT_THAT(run.err, HasSubstr("cannot read the imported phishing list 'a'"));
    EXPECT_EQ(ThreatOf(PHISHING, "one.example"), "a");
}

}  // namespace
