#include "modules/store/store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <string>

#include "modules/store/store_settings.h"
#include "modules/store/store_sources.h"
#include "modules/store/store_text.h"
#include "tests/unit/modules/temp_store.h"

namespace {

using StoreTest = TempStoreTest;

void Write(const std::string& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
}

TEST_F(StoreTest, IsMadeForItsOwnerAlone) {
    umask(0);
    CreateStore();
    ASSERT_EQ(BeginStoreChange(&m_store), STORE_OK);
    for (const auto& [file, nMode] : {std::pair(m_folder.Path("own"), 0700u), std::pair(m_file, 0600u),
                                      std::pair(m_file + "-wal", 0600u)}) {
        struct stat status;
        ASSERT_EQ(stat(file.c_str(), &status), 0) << file;
        EXPECT_EQ(status.st_mode & 0777, nMode) << file;
    }
}

TEST_F(StoreTest, LeavesNothingBehindWhenTheDiskIsFullAndCanBeMadeLater) {
    for (const rlim_t nBytes : {1u, 5000u, 33000u}) {
        const FullDisk full(nBytes);
        EXPECT_NE(OpenStore(&m_store, STORE_CREATE, 100), STORE_OK) << nBytes;
        EXPECT_TRUE(std::filesystem::is_empty(m_folder.Path("own"))) << nBytes;
    }
    Write(m_file + "-wal", "of a store that was deleted");
    CreateStore();
}

TEST_F(StoreTest, CanBeReadStillWhereNoFileCanBeMade) {
    m_file = m_folder.Path("o%41?#/websec.db");  // a name that means something else in a URI
    setenv("WEBSEC_DB", m_file.c_str(), 1);
    CreateStore();
    CloseStore(&m_store);
    {
        const FullDisk full(1);
        EXPECT_NE(OpenStore(&m_store, STORE_OPEN_EXISTING, 100), STORE_OK);
        EXPECT_EQ(OpenStore(&m_store, STORE_READ_STILL, 100), STORE_OK) << m_store.szError;
        tagClientSettingData settings{};
        EXPECT_EQ(FillClientSettings(&m_store, 0, &settings, TakeIntoSettings, &settings), STORE_OK)
            << m_store.szError;
        ReleaseSettings(settings);
    }
    CloseStore(&m_store);
    Write(m_file + "-wal", "changes");
    EXPECT_EQ(OpenStore(&m_store, STORE_READ_STILL, 100), STORE_DENIED);
}

TEST_F(StoreTest, RefusesWhatItCannotRead) {
    const struct {
        int nExpected;
        const char* szText;  // in the message
        int nMode;
        const char* szSpoil;  // a command, $f for the file
    } rows[] = {
        {STORE_MISSING, "no such store", STORE_OPEN_EXISTING, "rm $f"},
        {STORE_MISSING, "no such store", STORE_OPEN_EXISTING, ": >$f"},
        {STORE_CORRUPT, "damaged", STORE_CREATE, "yes | head -c 5000 >$f"},
        {STORE_NEWER, "version 3, known up to 2", STORE_CREATE,
         "printf '\\003' | dd of=$f bs=1 seek=63 conv=notrunc"},
        {STORE_CORRUPT, "another program", STORE_CREATE,
         "printf '\\000' | dd of=$f bs=1 seek=63 conv=notrunc"},
        {STORE_FAILED, "cannot be used", STORE_CREATE, "rm $f; mkdir $f"},
        {STORE_FAILED, "a pipe", STORE_OPEN_EXISTING, "mkfifo $f-journal"},  // must not hold anybody up
    };
    for (const auto& row : rows) {
        std::filesystem::remove_all(m_folder.Path("own"));
        CreateStore();
        CloseStore(&m_store);
        ASSERT_EQ(system(("exec 2>/dev/null; f=" + m_file + "; " + row.szSpoil).c_str()), 0);
        EXPECT_EQ(OpenStore(&m_store, row.nMode, 100), row.nExpected) << m_store.szError;
        EXPECT_EQ(m_store.pDb, nullptr);
        EXPECT_THAT(m_store.szError,
                    testing::AllOf(testing::StartsWith(m_file), testing::HasSubstr(row.szText)));
    }
}

TEST_F(StoreTest, OfAnOlderVersionIsBroughtUpWithAllThatStandsInIt) {
    CreateStore();
    ASSERT_EQ(WriteSwitch(&m_store, SWITCH_CATEGORY, 1), STORE_OK);
    ASSERT_EQ(AddStoredEntry(&m_store, STORE_LIST_BLOCK, "a.example", 1), STORE_OK);
    CloseStore(&m_store);
    RunOn(m_file, "DROP TABLE sources; PRAGMA user_version = 1");

    ASSERT_EQ(OpenStore(&m_store, STORE_OPEN_EXISTING, 100), STORE_OK) << m_store.szError;
    uint32_t bOn = 0;
    EXPECT_EQ(ReadSwitch(&m_store, SWITCH_CATEGORY, &bOn), STORE_OK);
    EXPECT_EQ(bOn, 1u);
    EXPECT_EQ(AddStoredEntry(&m_store, STORE_LIST_BLOCK, "a.example", 1), STORE_EXISTS);
    const tagStoredSource source = {1, "phishing", "feed", SOURCE_NO_CATEGORY, "/feed.txt", 1, 2, 3, 4};
    EXPECT_EQ(PutStoredSource(&m_store, &source), STORE_OK) << m_store.szError;
}

TEST_F(StoreTest, WaitsForALockNoLongerThanTold) {
    CreateStore();
    tagStore other;
    ASSERT_EQ(OpenStore(&other, STORE_OPEN_EXISTING, 0), STORE_OK);
    ASSERT_EQ(BeginStoreChange(&other), STORE_OK);
    EXPECT_EQ(BeginStoreChange(&m_store), STORE_LOCKED);
    EXPECT_THAT(m_store.szError, testing::HasSubstr("locked by another program"));
    CloseStore(&other);
    EXPECT_EQ(BeginStoreChange(&m_store), STORE_OK);
}

TEST_F(StoreTest, RefusesEntriesThatAreNoTexts) {
    CreateStore();
    for (const std::string& unfit :
         {std::string(), std::string(1024, 'a'), std::string("a\nb"), std::string("\xFF")})
        EXPECT_EQ(AddStoredEntry(&m_store, STORE_LIST_ALLOW, unfit.c_str(), 0), STORE_BAD_VALUE) << unfit;
    EXPECT_EQ(RemoveStoredEntry(&m_store, STORE_LIST_ALLOW, "a.example"), STORE_NOT_FOUND);
}

std::string Decode(std::u16string_view wide, size_t nSize = 64) {
    std::string out(nSize, '#');
    DecodeWideText(out, wide);
    return out.c_str();
}

TEST(StoreText, DecodesWideFields) {
    struct {
        const char* szReason;
        std::u16string wide;
        const char* szText;
    } const rows[] = {
        {"plain", u"a.example/x", "a.example/x"},
        {"ends at its NUL", std::u16string(u"ab\0cd", 5), "ab"},
        {"UTF-8 bytes, widened as signed values", u"caf\xFFC3\xFFA9", "caf\xC3\xA9"},
        {"real UTF-16", u"caf\u00E9 \u20AC", "caf\xC3\xA9 \xE2\x82\xAC"},
        {"a byte that is no UTF-8", u"/\xFFFF\xFFE9x", "/%FF%E9x"},
        {"a sequence cut by the end", u"\xFFE2\xFF82", "%E2%82"},
        {"an overlong slash", u"\xFFC0\xFFAF", "%C0%AF"},
        {"terminal escapes, also the 8-bit one", u"\x1B[2J\x7F\xFFC2\xFF9B", "%1B[2J%7F%C2%9B"},
        {"half a surrogate pair", u"\xD83D", "%ED%A0%BD"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Decode(row.wide), row.szText) << row.szReason;
}

TEST(StoreText, CutsAtACharacter) {
    EXPECT_EQ(Decode(u"ab\xFFC3\xFFA9", 4), "ab");
    EXPECT_EQ(Decode(u"ab\xFFC3\xFFA9", 5), "ab\xC3\xA9");
    EXPECT_EQ(Decode(u"a\x01", 4), "a");
    EXPECT_EQ(Decode(std::u16string(1024, u'\xFFFF'), DecodedSize(1025)).size(), 3 * 1024u);
}

}  // namespace
