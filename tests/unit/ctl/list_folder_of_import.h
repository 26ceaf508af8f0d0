// Runs imports into a folder of lists of the test's own, and looks up what is in force.
#pragma once

#include <stdlib.h>

#include <set>

#include "tests/support/list_maps.h"
#include "tests/unit/ctl/run_websecctl.h"

class ImportTest : public WebsecctlTest {
  protected:
    ImportTest() { setenv("WEBSEC_LISTS", Path("lists").c_str(), 1); }
    ~ImportTest() override { unsetenv("WEBSEC_LISTS"); }

    // The threat's name, or "none".
    std::string ThreatOf(const char* szList, const char* szURL) {
        tagURLMap map;
        EXPECT_LE(OpenURLMap(&map, Path(szList).c_str(), URLMAP_THREATS), URLMAP_MISSING) << szList;
        const std::string name = ThreatIn(map, szURL);
        CloseURLMap(&map);
        return name;
    }
    std::vector<uint16_t> CategoriesOf(const char* szURL) {
        tagURLMap map;
        EXPECT_EQ(OpenURLMap(&map, Path("lists/categories.map").c_str(), URLMAP_CATEGORIES), URLMAP_OK);
        const auto categories = CategoriesIn(map, szURL);
        CloseURLMap(&map);
        return categories;
    }
    // All names in the folder of the lists and below.
    std::set<std::string> Files() {
        std::set<std::string> files;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(Path("lists")))
            files.insert(entry.path().lexically_relative(Path("lists")));
        return files;
    }
    void Shell(const std::string& command) {
        ASSERT_EQ(system(("cd " + Path("") + " && " + command).c_str()), 0) << command;
    }
};

constexpr char PHISHING[] = "lists/phishing.map";
constexpr char HARMFUL[] = "lists/harmful.map";
