// Imports into the mapped lists from start to end: containers, categories, threats' names, what is told.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "list_folder_of_import.h"

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;

using ImportLists = ImportTest;

TEST_F(ImportLists, CountsAndShowsWhatIsNotTaken) {
    WriteFile("feed.txt",
              "# c\n\nevil.example\nEVIL.example\n*.bad.example\ncom\n10.0.0.0/8\n*\nx\x1b[2J y\n" +
                  std::string(9000, 'a') + ".example\nhttps://p.example/q\nlast.example");
    const tagRun run = Run({"import", "phishing", Path("feed.txt"), "--json"});
    ASSERT_EQ(run.nStatus, 0) << run.err;
    const json document = json::parse(run.out);
    EXPECT_EQ(document["accepted"], 4);
    EXPECT_EQ(document["duplicates"], 1);
    EXPECT_EQ(document["rejected"], 5);
    EXPECT_EQ(document["reasons"].size(), 5u);
    EXPECT_EQ(document["first_rejected"][0]["place"], Path("feed.txt") + ":6");
    EXPECT_EQ(document["files"][0]["format"], "plain");
    EXPECT_EQ(ThreatOf(PHISHING, "www.bad.example/x"), "feed");
    EXPECT_EQ(ThreatOf(PHISHING, "last.example"), "feed");
    EXPECT_EQ(ThreatOf(PHISHING, "other.com"), "none");

    const tagRun text = Run({"import", "phishing", Path("feed.txt")});
    EXPECT_THAT(
        text.out,
        AllOf(HasSubstr("feed.txt:6: 'com' is a single label"), HasSubstr("in place of the"),
              HasSubstr("'x\\x1B[2J y' has more than one word"), HasSubstr("is longer than 8192 bytes"),
              HasSubstr("https URLs with a path: 1"), HasSubstr("in force: 4 names")));
}

TEST_F(ImportLists, ReadCompressedFilesAndArchivesAlike) {
    WriteFile("a.txt", "one.example\n");
    WriteFile("u.csv",
              "# id,dateadded,url,url_status,last_online,threat\n1,d,http://two.example/x,on,,Trojan\n");
    Shell(
        "gzip -k a.txt && bzip2 -k a.txt && tar czf a.tar.gz a.txt && python3 -c \"import zipfile as z; "
        "f=z.ZipFile('u.zip','w',8); f.write('u.csv'); f.writestr('README','x')\"");
    for (const char* szFile : {"a.txt.gz", "a.txt.bz2", "a.tar.gz"}) {
        const tagRun run = Run({"import", "harmful", Path(szFile), "--name", szFile});
        EXPECT_EQ(run.nStatus, 0) << run.err;
        EXPECT_EQ(ThreatOf(HARMFUL, "one.example"), szFile);
        EXPECT_EQ(Run({"lists", "remove", szFile}).nStatus, 0);
    }
    const tagRun run = Run({"import", "harmful", Path("u.zip")});
    EXPECT_THAT(run.out,
                HasSubstr("left out, since it is no list of names (1): " + Path("u.zip") + ":README"));
    EXPECT_EQ(ThreatOf(HARMFUL, "two.example/x"), "Trojan");
}

TEST_F(ImportLists, FoldersOfACollectionSayTheirCategories) {
    Shell(
        "mkdir -p c/gambling c/adult c/zzz && echo g.example > c/gambling/domains && "
        "echo a.example/p > c/adult/urls && echo z.example > c/zzz/domains && echo x > c/adult/usage && "
        "ln -s adult c/porn && tar czf c.tgz c");
    for (const char* szCollection : {"c", "c.tgz"}) {
        const tagRun run = Run({"import", "category", "auto", Path(szCollection)});
        ASSERT_EQ(run.nStatus, 0) << run.err;
        EXPECT_THAT(run.out, AllOf(HasSubstr("imported 'c': 2 names"), HasSubstr("no category (1): zzz"),
                                   HasSubstr("adult/usage"), HasSubstr("c/porn")));
        EXPECT_EQ(CategoriesOf("www.g.example"), std::vector<uint16_t>{51});
        EXPECT_EQ(CategoriesOf("a.example/p"), std::vector<uint16_t>{22});
    }
    // One that is named means one folder.
    EXPECT_THAT(Run({"import", "category", "gambling", Path("c"), "--name", "x"}).err,
                HasSubstr("several categories"));
    EXPECT_EQ(Run({"import", "category", "Games", Path("c/gambling/domains")}).nStatus, 0);
    EXPECT_EQ(CategoriesOf("g.example"), (std::vector<uint16_t>{51, 50}));
    // The default name must not replace a list of another category.
    EXPECT_THAT(Run({"import", "category", "Gambling", Path("c/gambling")}).err,
                HasSubstr("imported as the category Games; to keep it"));
}

TEST_F(ImportLists, TellCategoriesThatHaveNoRoom) {
    Shell(
        "for c in gambling adult games news drugs dating; do mkdir -p c/$c; echo a.example > c/$c/domains; "
        "done; echo a.example > d.txt");
    EXPECT_THAT(Run({"import", "category", "auto", Path("c")}).out,
                HasSubstr("lost: 1 category of names that stand in more than 5 in it;"));
    const tagRun run = Run({"import", "category", "Job Search", Path("d.txt")});
    EXPECT_THAT(run.out,
                HasSubstr("lost: 1 category of names that stand in more than 5 with the other lists"));
}

TEST_F(ImportLists, RefuseWhatIsNoListAndChangeNothing) {
    WriteFile("good.txt", "good.example\n");
    ASSERT_EQ(Run({"import", "phishing", Path("good.txt"), "--name", "l"}).nStatus, 0);
    WriteFile("binary", std::string("\x7f\x45\0\1\2\3", 6));
    WriteFile("page.txt", "<html>\n<a href=x.example>\n");
    WriteFile("none.txt", "# nothing\ncom\n");
    WriteFile("bomb", std::string(40 << 20, '\n'));
    Shell("mkdir -p empty/sub; gzip bomb; head -c 30 bomb.gz > cut.gz");
    const std::pair<std::vector<std::string>, const char*> rows[] = {
        {{"phishing", Path("missing")}, "missing': No such file"},
        {{"phishing", Path("binary")}, "is not text"},
        {{"phishing", Path("page.txt")}, "is a web page"},
        {{"phishing", Path("none.txt")}, "no name in it that can be taken"},
        {{"phishing", Path("good.txt"), Path("cut.gz")}, "cannot read"},
        {{"phishing", Path("bomb.gz")}, "expands to more than 200 times"},
        {{"phishing", Path("empty")}, "is no collection of categories"},
        {{"category", "gamblin", Path("good.txt")}, "did you mean 'Gambling'"},
        {{"category", "qqqq", Path("good.txt")}, "websecctl category list"},
    };
    for (auto [arguments, szReason] : rows) {
        arguments.insert(arguments.begin(), "import");
        if (arguments[1] == "phishing") arguments.insert(arguments.end(), {"--name", "l"});
        const tagRun run = Run(arguments);
        EXPECT_EQ(run.nStatus, 1) << szReason;
        EXPECT_THAT(run.err, HasSubstr(szReason));
        EXPECT_EQ(ThreatOf(PHISHING, "good.example"), "l") << szReason;
        EXPECT_EQ(Files(),
                  (std::set<std::string>{".lock", "phishing.map", "sources", "sources/phishing-1.map"}));
    }
}

}  // namespace
