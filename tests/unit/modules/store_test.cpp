#include "modules/store/store.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <fstream>

#include "modules/store/store_settings.h"
#include "modules/store/store_sources.h"
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
    for (const auto& [file, nMode] : {std::pair(m_directory + "/own", 0700u), std::pair(m_file, 0600u),
                                      std::pair(m_file + "-wal", 0600u)}) {
        struct stat status;
        ASSERT_EQ(stat(file.c_str(), &status), 0) << file;
        EXPECT_EQ(status.st_mode & 0777, nMode) << file;
    }
}

TEST_F(StoreTest, RefusesWhatItCannotRead) {
    struct {
        int nExpected;
        const char* szText;  // in the message
        int nMode;
        void (*pfnSpoil)(const std::string& file);
    } const rows[] = {
        {STORE_MISSING, "no such store", STORE_OPEN_EXISTING,
         [](const std::string& file) { std::filesystem::remove(file); }},
        {STORE_MISSING, "no such store", STORE_OPEN_EXISTING,
         [](const std::string& file) { Write(file, ""); }},
        {STORE_CORRUPT, "damaged", STORE_CREATE,
         [](const std::string& file) { Write(file, std::string(5000, 'x')); }},
        {STORE_NEWER, "version 3, known up to 2", STORE_CREATE,
         [](const std::string& file) { RunOn(file, "PRAGMA user_version = 3"); }},
        {STORE_CORRUPT, "another program", STORE_CREATE,
         [](const std::string& file) { RunOn(file, "PRAGMA user_version = 0"); }},
        {STORE_FAILED, "cannot be used", STORE_CREATE,
         [](const std::string& file) {
             std::filesystem::remove(file);
             std::filesystem::create_directory(file);
         }},
    };
    for (const auto& row : rows) {
        std::filesystem::remove_all(m_directory + "/own");
        CreateStore();
        CloseStore(&m_store);
        row.pfnSpoil(m_file);
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
}  // namespace
