#include "modules/store/store_settings.h"

#include <gmock/gmock.h>

#include "tests/unit/modules/temp_store.h"

namespace {
using StoreSettingsTest = TempStoreTest;

std::vector<std::string> Entries(tagStore* pStore, int nList) {
    std::vector<std::string> entries;
    const auto keep = [](const tagStoredEntry* pEntry, void* pEntries) {
        static_cast<std::vector<std::string>*>(pEntries)->push_back(
            pEntry->szText + std::string(pEntry->bSubdomains ? " +" : ""));
        return 0;
    };
    EXPECT_EQ(ForEachStoredEntry(pStore, nList, keep, &entries), STORE_OK) << pStore->szError;
    return entries;
}

TEST_F(StoreSettingsTest, ListsKeepTheirOrderAndEachTextOnce) {
    CreateStore();
    EXPECT_EQ(AddStoredEntry(&m_store, STORE_LIST_BLOCK, "z.example", 0), STORE_OK);
    EXPECT_EQ(AddStoredEntry(&m_store, STORE_LIST_BLOCK, "a.example/x", 0), STORE_OK);
    EXPECT_EQ(AddStoredEntry(&m_store, STORE_LIST_BLOCK, "z.example", 0), STORE_EXISTS);
    EXPECT_EQ(AddStoredEntry(&m_store, STORE_LIST_BLOCK, "z.example", 1), STORE_OK);
    EXPECT_EQ(AddStoredEntry(&m_store, STORE_LIST_ALLOW, "z.example", 0), STORE_OK);
    EXPECT_EQ(RemoveStoredEntry(&m_store, STORE_LIST_ALLOW, "a.example/x"), STORE_NOT_FOUND);
    for (const std::string& unfit :
         {std::string(), std::string(1024, 'a'), std::string("a\nb"), std::string("\xFF")})
        EXPECT_EQ(AddStoredEntry(&m_store, STORE_LIST_ALLOW, unfit.c_str(), 0), STORE_BAD_VALUE) << unfit;
    EXPECT_THAT(Entries(&m_store, STORE_LIST_BLOCK), testing::ElementsAre("z.example +", "a.example/x"));
    EXPECT_EQ(RemoveStoredEntry(&m_store, STORE_LIST_BLOCK, "z.example"), STORE_OK);
    EXPECT_EQ(AddStoredEntry(&m_store, STORE_LIST_BLOCK, "z.example", 0), STORE_OK);
    EXPECT_THAT(Entries(&m_store, STORE_LIST_BLOCK), testing::ElementsAre("a.example/x", "z.example"));
}

TEST_F(StoreSettingsTest, AChangeIsKeptWholeOrNotAtAll) {
    CreateStore();
    for (const int bKeep : {0, 1}) {
        ASSERT_EQ(BeginStoreChange(&m_store), STORE_OK);
        EXPECT_EQ(AddStoredEntry(&m_store, STORE_LIST_BLOCK, "a.example", 0), STORE_OK);
        EXPECT_EQ(WriteSwitch(&m_store, SWITCH_REPORT, 0), STORE_OK);
        EXPECT_EQ(EndStoreChange(&m_store, bKeep), STORE_OK);
        uint32_t bReport = 2;
        EXPECT_EQ(ReadSwitch(&m_store, SWITCH_REPORT, &bReport), STORE_OK);
        EXPECT_EQ(bReport, bKeep ? 0u : 1u);
        EXPECT_EQ(Entries(&m_store, STORE_LIST_BLOCK).size(), bKeep ? 1u : 0u);
    }
}
}  // namespace
