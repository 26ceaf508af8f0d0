// The protected data files from text to bytes and back, and what is said of damaged ones.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "run_websecctl.h"

namespace {

using testing::HasSubstr;

class DataFiles : public WebsecctlTest {
  protected:
    void SetUp() override {
        ASSERT_EQ(
            Run({"datafile", "build", "exclusion", Path("pcintwl.dat")}, "a.example\nb.example\n").nStatus,
            0);
        ASSERT_EQ(Run({"datafile", "build", "ports", Path("wswebflt.dat")}, "8080\n").nStatus, 0);
    }
};

TEST_F(DataFiles, AllKindsGoRoundTrip) {
    const struct {
        const char* szKind;
        const char* szFile;
        std::string input;
        std::string shown;
    } rows[] = {
        {"exclusion", "pcintwl.dat", "# all\n\n a.example/ \r\n*b.example # anywhere\nc/p#f\n",
         "a.example/\n*b.example\nc/p#f\n"},
        {"trusted", "bpintwl.dat", "\\x23a\\\\b\\x20\\xfc\n\\e\n" + std::string(1023, 'p'),
         "\\x23a\\\\b\\x20\\xFC\n\\e\n" + std::string(1023, 'p') + "\n"},
        {"ranges", "wsintip.dat",
         "10.0.0.0/8\n192.0.2.7\n0.0.0.0/0\n172.16.0.0/255.240.0.0\n1.0.0.0/255.0.255.0\n",
         "10.0.0.0/8\n192.0.2.7/32\n0.0.0.0/0\n172.16.0.0/12\n1.0.0.0/255.0.255.0\n"},
        {"ports", "wswebflt.dat", "1\n65535 # last", "1\n65535\n"},
        {"category-status", "wscatsts.dat", "0", "off\n"},
        {"exclusion", "pcintwl.dat", "# nothing\n", ""},
    };
    for (const auto& row : rows) {
        const std::string path = Path(row.szFile);
        ASSERT_EQ(Run({"datafile", "build", row.szKind, path, "-"}, row.input).nStatus, 0) << row.szKind;
        EXPECT_EQ(Run({"datafile", "verify", path}).nStatus, 0) << row.szKind;
        const std::string shown = Run({"datafile", "show", path}).out;
        EXPECT_EQ(shown, row.shown);
        ASSERT_EQ(Run({"datafile", "build", row.szKind, Path("again")}, shown).nStatus, 0);
        EXPECT_EQ(ReadFile("again"), ReadFile(row.szFile)) << row.szKind;
    }
}

TEST_F(DataFiles, TheInputIsNotTakenForTheOutput) {
    WriteFile("mine.txt", "a.example\n");
    EXPECT_NE(Run({"datafile", "build", "exclusion", Path("mine.txt")}, "").nStatus, 0);
    EXPECT_EQ(ReadFile("mine.txt"), "a.example\n");
}

TEST_F(DataFiles, SayWhatIsWrong) {
    const struct {
        const char* szDamage;
        size_t nOffset;
        std::string bytes;  // written there; empty: the file is cut there
        const char* szWords;
    } rows[] = {
        {"other magic", 0, "wscf", "the magic word is 'wscf', not 'WSCF'"},
        {"other copyright", 4, "Copyleft ", "the copyright text is 'Copyleft "},
        {"other checksum", 84, std::string("\0\0\0\0", 4), "the header says 00000000"},
        {"changed record", 100, "x", "the checksum is "},
        {"count too large", 88, std::string("\x30", 1), "the count promises"},
        {"cut in the header", 87, "", "it is cut: 87 bytes"},
        {"cut in the count", 90, "", "it is cut in its count"},
        {"cut in the records", 200, "", "the count promises 2 patterns (2048 bytes), there: 108 bytes"},
        {"nothing at all", 0, "", "it is cut: 0 bytes"},
    };
    const std::string sound = ReadFile("pcintwl.dat");
    for (const auto& row : rows) {
        std::string bytes = sound;
        if (row.bytes.empty()) {
            bytes.resize(row.nOffset);
        } else {
            bytes.replace(row.nOffset, row.bytes.size(), row.bytes);
        }
        WriteFile("pcintwl.dat", bytes);
        for (const char* szCommand : {"verify", "show"}) {
            const tagRun run = Run({"datafile", szCommand, Path("pcintwl.dat")});
            EXPECT_EQ(run.nStatus, 1) << row.szDamage;
            EXPECT_THAT(run.err, HasSubstr(row.szWords)) << row.szDamage;
            EXPECT_EQ(run.out, "") << row.szDamage;
        }
    }
    const auto document =
        nlohmann::json::parse(Run({"datafile", "verify", "--json", Path("pcintwl.dat")}).out);
    EXPECT_EQ(document["sound"], false);
    EXPECT_THAT(Run({"datafile", "verify", Path("other.dat")}).err, HasSubstr("'other.dat'"));
    EXPECT_THAT(Run({"datafile", "verify", "--kind", "ports", Path("none")}).err, HasSubstr("No such file"));
}

TEST_F(DataFiles, RefuseInputByLineAndLeaveTheFileAlone) {
    const struct {
        const char* szKind;
        std::string input;
        const char* szWords;
    } rows[] = {
        {"ports", "80\n0\n", "line 2: '0' is not a port"},
        {"ports", "65536", "line 1: '65536' is not a port"},
        {"ports", "80x", "'80x' is not a port"},
        {"ranges", "10.0.0/8", "'10.0.0/8' is not an IPv4 address"},
        {"ranges", "10.0.0.0/33", "'10.0.0.0/33' has neither"},
        {"ranges", "10.0.0.0/", "'10.0.0.0/' has neither"},
        {"ranges", "a.example", "'a.example' is not an IPv4 address"},
        {"exclusion", std::string(1024, 'p'), "1024 characters, at most 1023"},
        {"exclusion", "a b", "'a b' contains a blank"},
        {"exclusion", "a\\x00b", "has a '\\'"},
        {"category-status", "256", "'256' is not on, off"},
        {"category-status", "on\non\n", "2 values"},
        {"category-status", "", "0 values"},
    };
    const std::string before = ReadFile("wswebflt.dat");
    for (const auto& row : rows) {
        const tagRun run = Run({"datafile", "build", row.szKind, Path("wswebflt.dat")}, row.input);
        EXPECT_EQ(run.nStatus, 1) << row.input;
        EXPECT_THAT(run.err, HasSubstr(row.szWords)) << row.input;
    }
    EXPECT_EQ(ReadFile("wswebflt.dat"), before);

    std::filesystem::create_directory(Path("folder"));
    EXPECT_THAT(Run({"datafile", "build", "ports", Path("folder")}, "80").err,
                HasSubstr("not a regular file"));
    EXPECT_THAT(Run({"datafile", "build", "ports", Path("none/x")}, "80").err, HasSubstr("No such file"));
    for (const auto& entry : std::filesystem::directory_iterator(Path("."))) {
        EXPECT_EQ(entry.path().filename().string().find(".dat."), std::string::npos) << "left behind";
    }
}

}  // namespace
