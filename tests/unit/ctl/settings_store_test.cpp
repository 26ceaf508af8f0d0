// What is said of a settings store that cannot be used.
#include <gmock/gmock.h>

#include "run_websecctl.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;

class SettingsStoreUse : public WebsecctlTest {};

TEST_F(SettingsStoreUse, NamesTheCauseOfAnUnusableStore) {
    EXPECT_THAT(Run({"block", "list"}).err, HasSubstr("no settings store at " + Path("websec.db")));
    EXPECT_EQ(Run({"block", "list"}).nStatus, 1);
    EXPECT_FALSE(std::filesystem::exists(Path("websec.db"))) << "reading must not make a store";

    WriteFile("websec.db", std::string(5000, 'x'));
    const tagRun corrupt = Run({"block", "add", "a.example"});
    EXPECT_EQ(corrupt.nStatus, 1);
    EXPECT_THAT(corrupt.err, AllOf(HasSubstr(Path("websec.db")), HasSubstr("import-settings")));
    EXPECT_EQ(ReadFile("websec.db"), std::string(5000, 'x'));
}

}  // namespace
