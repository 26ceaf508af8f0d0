// What the daemon offers to the plug-ins in its process.
#include <gmock/gmock.h>

#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "tests/e2e/daemon.h"
#include "tests/e2e/lab.h"

using testing::HasSubstr;
using testing::Not;

class PlugIn : public LabTest {};

TEST_F(PlugIn, FindsAndUsesTheUtilityFunctions) {
    const std::string module = ProductFile("libdbmod.so");
    MustRun("cp " + module + " /run/libdbmod.so && cp " PROBE_MODULE_FILE " " + module);
    tagDaemon daemon = StartDaemon();
    EXPECT_EQ(StopDaemon(daemon), 0);
    const std::string results = ReadFile(LabFile("probe"));
    EXPECT_THAT(results, HasSubstr("CKVCrc32 right"));
    EXPECT_THAT(results, Not(HasSubstr("missing")));
    EXPECT_THAT(results, Not(HasSubstr("wrong")));
    MustRun("cp /run/libdbmod.so " + module);
}

// Nothing but what the map names; a sanitizer adds its own.
TEST_F(PlugIn, SeesNoOtherNames) {
#ifdef WEBSEC_SANITIZED
    GTEST_SKIP() << "a sanitizer exports its own names";
#endif
    const std::string map =
        std::regex_replace(ReadFile(EXPORTS_MAP_FILE), std::regex("#[^\n]*|extern[^}]*\\};"), "");
    const size_t nGlobal = map.find("global:") + 7;
    const std::string listed = map.substr(nGlobal, map.find("local:") - nGlobal);
    std::set<std::string> expected, offered;
    const std::regex name("\\w+");
    for (std::sregex_iterator i(listed.begin(), listed.end(), name), end; i != end; ++i)
        expected.insert(i->str());
    std::istringstream symbols(
        MustRun(std::string("nm -D --defined-only ") + DAEMON + " | awk '{print $3}'"));
    for (std::string symbol; std::getline(symbols, symbol);) {
        if (symbol.find("CKVCrc32") == symbol.npos) offered.insert(symbol);
    }
    EXPECT_EQ(offered, expected);
    EXPECT_GT(expected.size(), 60u);
}
