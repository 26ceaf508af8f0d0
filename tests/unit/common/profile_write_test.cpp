#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>

#include "common/profile.h"
#include "tests/unit/common/temp_folder.h"

namespace {

using namespace std::string_literals;

TEST(ProfileWrite, EditsFiles) {
    const std::string piece(1023, 'x');
    const struct {
        std::string before, after;  // [A] k=v is written
        const char* szReason;
    } rows[] = {
        {" [ a ] note \r\n\r\n\tx = 1 \r\n  K = 1 \r\n  y = 2 \r\n", "[ a ] note\n\nx = 1\nk=v\n  y = 2 \r\n",
         "trimmed before, untouched behind"},
        {"[A]\nk=1\nk=2\n", "[A]\nk=v\nk=2\n", "only the first line of the key"},
        {"[A]\n#k=1\n;k=1", "[A]\n#k=1\n;k=1\nk=v\n", "comments are not the key"},
        {"[B]\nk=1\n[A]\nx=1\n [B] \n k=1", "[B]\nk=1\n[A]\nx=1\nk=v\n [B] \n k=1", "before the next header"},
        {"[A]\n[open\n", "[A]\nk=v\n[open\n", "a header that never closes ends the section"},
        {"[A]\nx=1", "[A]\nx=1\nk=v\n", "at the end, after a line without newline"},
        {"[B]\nk=1\n", "[B]\nk=1\n[A]\nk=v\n", "a new section"},
        {"", "[A]\nk=v\n", "an empty file"},
        {"[A]\nk=1\n\0\xFF\r"s, "[A]\nk=v\n\0\xFF\r"s, "rubbish behind stays"},
        {"\0a\0\n[A]\n"s, "\0a\0\n[A]\nk=v\n"s, "rubbish before too"},
        {piece + "\n[A]\nk=1", piece + "\n\n[A]\nk=v\n", "a full piece and its newline"},
        {piece + piece + "y\n", piece + "\n" + piece + "\ny\n[A]\nk=v\n", "a long line falls into pieces"},
        {"[A]\nk=" + piece + "\n", "[A]\nk=v\nxx\n", "the piece of the key is replaced, not its line"},
    };
    const TempFolder folder;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szReason);
        const std::string path = folder.Put("cfg", row.before);
        unsigned int nError = 77;
        EXPECT_EQ(WritePrivateProfileString("A", " k ", " v ", path.c_str(), &nError), 0);
        EXPECT_EQ(nError, 0U);
        EXPECT_EQ(folder.Get("cfg"), row.after);
        EXPECT_EQ(folder.CountFiles(), 1U) << "the copy was left behind";
    }
}

TEST(ProfileWrite, BoundsArguments) {
    const TempFolder folder;
    const std::string path = folder.Put("cfg", "");
    unsigned int nError = 77;
    const std::string name(300, 'n');
    const std::string setting = std::string(256, 'n') + "=" + std::string(256, 'n') + "\n";
    EXPECT_EQ(WritePrivateProfileString(" ", name.c_str(), name.c_str(), path.c_str(), &nError), 0);
    EXPECT_EQ(folder.Get("cfg"), "[]\n" + setting);
    EXPECT_EQ(WritePrivateProfileString("\t", "k", " ", path.c_str(), &nError), 0);
    EXPECT_EQ(folder.Get("cfg"), "[]\n" + setting + "k=\n");
}

TEST(ProfileWrite, LeavesTheFileAsItWasOnFailure) {
    const TempFolder folder;
    const std::string file = "[A]\n k = 1\n" + std::string(9000, 'x');
    const std::string path = folder.Put("cfg", file);
    unsigned int nError = 77;
    const auto write = [&](const char* szSection, const char* szKey, const char* szValue,
                           const std::string& to) {
        nError = 77;
        return WritePrivateProfileString(szSection, szKey, szValue, to.c_str(), &nError) == -1 ? nError : 0;
    };
    EXPECT_EQ(write("", "", "", path), 205U);
    EXPECT_EQ(write("A", "", "", path), 203U);
    EXPECT_EQ(write("A", "k", "", path), 206U);
    EXPECT_EQ(write("A", "k", "v", folder.Path("missing")), 102U);
    EXPECT_EQ(write("A", "k", "v", folder.Path().substr(0, folder.Path().size() - 1)), 102U);  // a folder

    // The name of the copy is cut to 260 characters: were nothing left of its suffix, it would be the file.
    const std::string name(260 - folder.Path().size(), 'd');
    EXPECT_EQ(write("A", "k", "v", folder.Put(name, file)), 102U);
    EXPECT_EQ(folder.Get(name), file);
    EXPECT_EQ(unlink(folder.Path(name).c_str()), 0);

    // The copy must not be written through a link, least of all one to the file itself.
    ASSERT_EQ(symlink(path.c_str(), (path + ".tmp").c_str()), 0);
    EXPECT_EQ(write("A", "k", "v", path), 102U);
    EXPECT_EQ(unlink((path + ".tmp").c_str()), 0);

    // No room for the whole copy.
    const int nResult = RunInChild([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {4096, 4096};
        setrlimit(RLIMIT_FSIZE, &limit);
        return write("A", "k", "v", path) == 102 ? 0 : 1;
    });
    EXPECT_EQ(nResult, 0);
    EXPECT_EQ(folder.Get("cfg"), file);
    EXPECT_EQ(folder.CountFiles(), 1U) << "the copy was left behind";
}

TEST(ProfileWrite, KeepsPermissions) {
    const TempFolder folder;
    const std::string path = folder.Put("cfg", "");
    folder.Put("cfg.tmp", "left over, and longer than what is written now");
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    unsigned int nError = 77;
    ASSERT_EQ(WritePrivateProfileString("A", "k", "v", path.c_str(), &nError), 0);
    EXPECT_EQ(folder.Get("cfg"), "[A]\nk=v\n");
    struct stat about = {};
    ASSERT_EQ(stat(path.c_str(), &about), 0);
    EXPECT_EQ(about.st_mode & 07777, 0640U);
}

TEST(ProfileWrite, RefusesNull) {
    unsigned int nError = 77;
    for (int nNull = 0; nNull < 5; ++nNull) {
        const auto unless = [nNull](int nArgument, auto* p) { return nArgument == nNull ? nullptr : p; };
        EXPECT_EQ(WritePrivateProfileString(unless(0, "s"), unless(1, "k"), unless(2, "v"), unless(3, "f"),
                                            unless(4, &nError)),
                  -1);
    }
    EXPECT_EQ(nError, 77U);
}

}  // namespace
