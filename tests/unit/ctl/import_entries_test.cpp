// Imports into the policy lists.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "list_folder_of_import.h"

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;

class ImportEntries : public ImportTest {
  protected:
    // How the daemon reads them, in their order.
    std::string Listed(const char* szList) {
        std::string text;
        const json document = json::parse(Run({szList, "list", "--json"}).out);
        for (const auto& entry : document["entries"])
            text += (text.empty() ? "" : " ") + entry["read_as"].get<std::string>();
        return text;
    }
};

TEST_F(ImportEntries, EachListTakesWhatIsMeantForIt) {
    WriteFile("f.txt", "! t\n||block.example^\n@@||pass.example^\n||com^\n");
    WriteFile("p.txt", "A.example\n*.b.example\nHTTP://C.example/Path\n.co.uk\n192.0.2.7\n");
    const tagRun block = Run({"import", "block", Path("f.txt"), Path("p.txt")});
    EXPECT_THAT(block.err,
                AllOf(HasSubstr("--subdomains only: 2 entries"), HasSubstr("import harmful FILE")));
    EXPECT_EQ(Listed("block"), "block.example a.example b.example c.example/Path 192.0.2.7");
    const tagRun allow = Run({"import", "allow", Path("f.txt"), "--subdomains"});
    EXPECT_THAT(allow.out, HasSubstr("'block.example' blocks a name: import such rules into block"));
    EXPECT_EQ(Listed("allow"), ".pass.example");
    EXPECT_THAT(Run({"import", "trust", Path("f.txt")}).err,
                HasSubstr("the trust list knows no sub-domains: 1"));
    EXPECT_EQ(Listed("trust"), "pass.example");
}

// The daemon compares such entries with the end of a host's text, dot or not.
TEST_F(ImportEntries, SubdomainEntriesCoverNoPublicSuffix) {
    WriteFile("f.txt", "||o.uk^\n||hub.io^\n||uk.example^\n");
    const tagRun run = Run({"import", "block", Path("f.txt"), "--subdomains"});
    EXPECT_THAT(run.out, AllOf(HasSubstr("'o.uk' would cover"), HasSubstr("'hub.io' would cover")));
    EXPECT_THAT(run.err,
                HasSubstr("'uk.example': also covers hosts such as xuk.example that end in uk.example"));
    EXPECT_EQ(Listed("block"), ".uk.example");
}

TEST_F(ImportEntries, LargeListsAreShownTheOtherWay) {
    ASSERT_EQ(Run({"block", "add", "kept.example"}).nStatus, 0);
    std::string names;
    for (int n = 0; n < 500; ++n)
        names += "n" + std::to_string(n) + ".example\nn0.example\n";
    WriteFile("fits.txt", names);
    WriteFile("large.txt", names + "one.more.example\n");
    const tagRun run = Run({"import", "block", Path("large.txt")});
    EXPECT_EQ(run.nStatus, 1);
    EXPECT_THAT(run.err, HasSubstr("more than 500 names"));
    EXPECT_THAT(run.err, HasSubstr("websecctl import harmful FILE"));
    EXPECT_EQ(Listed("block"), "kept.example");
    EXPECT_THAT(Run({"import", "block", Path("fits.txt")}).err, HasSubstr("more than 500 names"));
    EXPECT_EQ(Listed("block"), "kept.example") << "what stands there counts";
    ASSERT_EQ(Run({"block", "remove", "kept.example"}).nStatus, 0);
    EXPECT_THAT(Run({"import", "block", Path("fits.txt")}).out, HasSubstr("added 500 entries"));
}

}  // namespace
