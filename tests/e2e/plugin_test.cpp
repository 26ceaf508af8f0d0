// What the daemon offers to the plug-ins in its process.
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "tests/e2e/daemon.h"
#include "tests/e2e/lab.h"

class PlugIn : public LabTest {};

// The plain names of the map, each of them and no other, and one class; a sanitizer adds its own.
TEST_F(PlugIn, SeesTheNamesOfTheMap) {
#ifdef WEBSEC_SANITIZED
    GTEST_SKIP() << "a sanitizer exports its own names";
#endif
    const std::string map =
        std::regex_replace(ReadFile(EXPORTS_MAP_FILE), std::regex("#[^\n]*|extern[^}]*\\};"), "");
    const size_t nGlobal = map.find("global:") + 7;
    const std::string listed = map.substr(nGlobal, map.find("local:") - nGlobal);
    const std::regex name("\\w+");
    std::set<std::string> offered;
    const std::set<std::string> expected(std::sregex_token_iterator(listed.begin(), listed.end(), name), {});
    std::istringstream symbols(
        MustRun(std::string("nm -D --defined-only ") + DAEMON + " | awk '{print $3}'"));
    size_t nOfTheClass = 0;
    for (std::string symbol; std::getline(symbols, symbol);) {
        if (symbol.starts_with("_ZN8CKVCrc32"))
            ++nOfTheClass;
        else
            offered.insert(symbol);
    }
    EXPECT_EQ(offered, expected);
    EXPECT_EQ(expected.size(), 71u) << "none was taken away from the map";
    EXPECT_GE(nOfTheClass, 8u);
}
