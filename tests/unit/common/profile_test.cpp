#include "common/profile.h"

#include <sys/stat.h>

#include <vector>

#include "tests/unit/common/temp_folder.h"

namespace {

using namespace std::string_literals;

TEST(ProfileLine, CutsSectionNamesAndComparesKeys) {
    char name[] = "[ two words ] ; note", open[] = "[open";
    EXPECT_STREQ(GetSectionName(name), "two words");
    EXPECT_EQ(GetSectionName(open), nullptr);
    char line[] = "Key \t= a = b";
    EXPECT_EQ(CompareKey(line, "kEY"), 0);
    EXPECT_STREQ(line, "Key \t");
    EXPECT_EQ(CompareKey(line, "keys"), -1);
    char other[] = "k[y=1";
    EXPECT_EQ(CompareKey(other, "k{y"), -1);  // only letters have case here
    EXPECT_STREQ(other, "k[y");               // cut all the same
}

constexpr char DEFAULT_TEXT[] = "default";
constexpr int DEFAULT_NUMBER = -99;

// The code, and what stands in the buffer afterwards.
std::pair<unsigned int, std::string> ReadText(const std::string& path, const char* szSection,
                                              const char* szKey) {
    unsigned int nError = 77;
    char szOut[2048] = "untouched";
    const int nResult =
        GetPrivateProfileString(szSection, szKey, DEFAULT_TEXT, szOut, sizeof(szOut), path.c_str(), &nError);
    EXPECT_EQ(nResult, nError == 0 ? 0 : -1);
    return {nError, szOut};
}

TEST(ProfileRead, FindsTexts) {
    const std::string piece(1023, 'x');
    const struct {
        std::string file;
        const char *szSection, *szKey;
        unsigned int nError;
        std::string text;  // on success
        const char* szReason;
    } rows[] = {
        {"\t[ a ] note\r\n  K  =  two words \r\n", " A ", " k ", 0, "two words", "blanks and case"},
        {"k=0\n[B]\nk=1\n[A]\nk=2\n", "A", "k", 0, "2", "neither before a header nor in another section"},
        {"[A]\n#k=1\n", "A", "#k", 202, "", "what a comment says is no key"},
        {"[A]\n;k=1\n", "A", ";k", 202, "", "nor behind a semicolon"},
        {"[A\n[A]\nk=1\n", "A", "k", 0, "1", "a header that never closes is passed over"},
        {"[A]\n[\nk=1\n", "A", "k", 202, "", "but it ends a section"},
        {"[a]b]\nk=1\n", "a", "k", 0, "1", "a name ends at the first ]"},
        {"[[a]\nk=1\n", "[a", "k", 0, "1", "and begins behind the first ["},
        {"[A]\nk=a=b;c\n", "A", "k", 0, "a=b;c", "the first = counts"},
        {"[A]\nk\nk=1\n", "A", "k", 201, "", "key without ="},
        {"[B]\nk=1\n", "A", "k", 204, "", "no such section"},
        {"[A]\nk=1\n", "", "k", 205, "", "empty section name"},
        {"[A]\nk=1\n", "A", "", 203, "", "empty key"},
        {"[A]\nk=1\n[ ]\nk=2\n", "  ", "k", 0, "2", "blanks stand for an empty section name"},
        {"[A]\n = 5\n", "A", " ", 0, "5", "and for an empty key"},
        {"[A]\n" + piece + "k=1\n", "A", "k", 0, "1", "the second piece of a long line"},
        {"[A]\nk=" + piece + "\n", "A", "k", 0, piece.substr(2), "a value is cut where its piece ends"},
        {"[A]\n\0k=1\nk=2\n"s, "A", "k", 0, "2", "a NUL is a character like any other"},
        {"[A]\nk=1\0002\n"s, "A", "k", 0, "1", "but the text ends there"},
    };
    const TempFolder folder;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szReason);
        const auto [nError, text] = ReadText(folder.Put("cfg", row.file), row.szSection, row.szKey);
        EXPECT_EQ(nError, row.nError);
        EXPECT_EQ(text, row.nError == 0 ? row.text : DEFAULT_TEXT);
        EXPECT_EQ(folder.Get("cfg"), row.file);
    }
    EXPECT_EQ(ReadText(folder.Path("missing"), "A", "k").first, 102U);
    EXPECT_EQ(ReadText(folder.Path(), "A", "k").first, 204U);  // a folder opens and has no lines
}

TEST(ProfileRead, FindsNumbers) {
    const std::vector<std::pair<std::string, int>> rows = {
        {"-5", -5}, {"0x10", 0}, {"5 ; note", 5}, {"- 5", 0}, {"4294967297", 1}, {" \t", DEFAULT_NUMBER},
    };
    const TempFolder folder;
    for (const auto& [value, nExpected] : rows) {
        const std::string path = folder.Put("cfg", "[ServiceConfigurations]\ncatEngine=" + value + "\n");
        unsigned int nError = 77;
        const int nNumber =
            GetPrivateProfileInt("serviceconfigurations", "CATENGINE", DEFAULT_NUMBER, path.c_str(), &nError);
        EXPECT_EQ(nNumber, nExpected) << value;
        EXPECT_EQ(nError, nExpected == DEFAULT_NUMBER ? 201U : 0U) << value;
    }
}

TEST(ProfileRead, BoundsArgumentsAndResults) {
    const TempFolder folder;
    const std::string name(256, 'n');
    const std::string path = folder.Put("cfg", "[" + name + "]\n" + name + "=abcdef\n");
    EXPECT_EQ(ReadText(path, (name + "more").c_str(), (name + "more").c_str()).second, "abcdef");
    EXPECT_EQ(ReadText(path, name.substr(1).c_str(), name.c_str()).first, 204U);

    char szOut[8] = "#######";
    unsigned int nError = 0;
    EXPECT_EQ(GetPrivateProfileString(name.c_str(), name.c_str(), "", szOut, 4, path.c_str(), &nError), 0);
    EXPECT_EQ(std::string(szOut, 8), "abc\0###\0"s);
    EXPECT_EQ(GetPrivateProfileString("no", "no", "longer", szOut, 5, path.c_str(), &nError), -1);
    EXPECT_STREQ(szOut, "long");
    EXPECT_EQ(GetPrivateProfileString("no", "no", szOut, szOut, 3, path.c_str(), &nError), -1);
    EXPECT_STREQ(szOut, "lo");
}

TEST(ProfileWrite, EditsFiles) {
    const std::string piece(1023, 'x');
    const struct {
        std::string before, after;  // [A] k=v is written
        const char* szReason;
    } rows[] = {
        {" [ a ] note \r\n\r\n\tx = 1 \r\n  K = 1 \r\n  y = 2 \r\n", "[ a ] note\n\nx = 1\nk=v\n  y = 2 \r\n",
         "trimmed before, untouched behind"},
        {"[A]\n#k=1\n;k=1", "[A]\n#k=1\n;k=1\nk=v\n", "comments are not the key"},
        {"[B]\nk=1\n[A]\nx=1\n [B] \n k=1", "[B]\nk=1\n[A]\nx=1\nk=v\n [B] \n k=1", "before the next header"},
        {"[A]\n[open\n", "[A]\nk=v\n[open\n", "a header that never closes ends the section"},
        {"[A]\nx=1", "[A]\nx=1\nk=v\n", "at the end, after a line without newline"},
        {"[B]\nk=1\n", "[B]\nk=1\n[A]\nk=v\n", "a new section"},
        {"[A]\nk=1\n\0\xFF\r"s, "[A]\nk=v\n\0\xFF\r"s, "rubbish behind stays"},
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
    {
        const FullDisk full(4096);
        EXPECT_EQ(write("A", "k", "v", path), 102U);
    }
    EXPECT_EQ(folder.Get("cfg"), file);
    EXPECT_EQ(folder.CountFiles(), 1U) << "the copy was left behind";
}

TEST(ProfileWrite, KeepsPermissionsAndBoundsArguments) {
    const TempFolder folder;
    const std::string path = folder.Put("cfg", ""), name(300, 'n');
    folder.Put("cfg.tmp", "left over, and longer than what is written now" + std::string(600, 'x'));
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    unsigned int nError = 77;
    EXPECT_EQ(WritePrivateProfileString(" ", name.c_str(), name.c_str(), path.c_str(), &nError), 0);
    EXPECT_EQ(folder.Get("cfg"), "[]\n" + name.substr(0, 256) + "=" + name.substr(0, 256) + "\n");
    struct stat about = {};
    ASSERT_EQ(stat(path.c_str(), &about), 0);
    EXPECT_EQ(about.st_mode & 07777, 0640U);
}

}  // namespace
