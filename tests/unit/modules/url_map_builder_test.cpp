#include "modules/urlmap/url_map_builder.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <vector>

#include "tests/unit/modules/list_folder.h"

namespace {

using URLMapBuilderTest = ListFolderTest;

TEST_F(URLMapBuilderTest, MergesWhatIsAddedTwice) {
    WriteThreats(HARMFUL_LIST, {{"a.example", "First"}, {"b.example", "Other"}, {"A.example.", "Second"}});
    tagURLMap map;
    ASSERT_EQ(OpenListFile(&map, HARMFUL_LIST, URLMAP_THREATS), URLMAP_OK);
    EXPECT_EQ(map.nNames, 2u);
    EXPECT_EQ(URLMapText(map, static_cast<uint32_t>(FindURLKey(map, KeyOf("a.example")))), "First");
    CloseURLMap(&map);
}

TEST_F(URLMapBuilderTest, KeepsFiveCategoriesInOrderAndCountsTheRest) {
    WriteCategories({{"a.example", 60},
                     {"b.example", 60},
                     {"a.example", 50},
                     {"a.example", 60},
                     {"b.example", 50},
                     {"a.example", 40},
                     {"a.example", 30},
                     {"a.example", 20},
                     {"a.example", 10}});
    EXPECT_EQ(m_builder.nNames, 2u);
    EXPECT_EQ(m_builder.nMerged, 7u);
    EXPECT_EQ(m_builder.nCategoriesLost, 1u);
    tagURLMap map;
    ASSERT_EQ(OpenListFile(&map, CATEGORY_LIST, URLMAP_CATEGORIES), URLMAP_OK);
    std::array<uint16_t, URLMAP_CATEGORIES_MAX> set;
    ASSERT_EQ(URLMapCategories(map, static_cast<uint32_t>(FindURLKey(map, KeyOf("a.example"))), set), 5u);
    EXPECT_THAT(set, testing::ElementsAre(60, 50, 40, 30, 20));
    EXPECT_EQ(URLMapCategories(map, static_cast<uint32_t>(FindURLKey(map, KeyOf("b.example"))), set), 2u);
    CloseURLMap(&map);
}

TEST_F(URLMapBuilderTest, RefusesMoreThreatNamesThanTheMapCanNumber) {
    tagURLMapBuilder builder;
    ASSERT_EQ(StartURLMap(&builder, URLMAP_THREATS), URLMAP_OK);
    for (uint32_t n = 0; n < URLMAP_TEXTS_MAX; ++n)
        ASSERT_EQ(AddThreat(&builder, n, std::to_string(n)), URLMAP_OK);
    EXPECT_EQ(AddThreat(&builder, URLMAP_TEXTS_MAX, "one more"), URLMAP_TOO_MANY);
    EXPECT_EQ(AddThreat(&builder, URLMAP_TEXTS_MAX, "77"), URLMAP_OK);
    ASSERT_EQ(WriteURLMap(&builder, m_folder.Path(HARMFUL_LIST).c_str()), URLMAP_OK);
    FreeURLMapBuilder(&builder);
    tagURLMap map;
    ASSERT_EQ(OpenListFile(&map, HARMFUL_LIST, URLMAP_THREATS), URLMAP_OK);
    EXPECT_EQ(URLMapText(map, static_cast<uint32_t>(FindURLKey(map, URLMAP_TEXTS_MAX))), "77");
    EXPECT_EQ(URLMapText(map, static_cast<uint32_t>(FindURLKey(map, 65535))), "65535");
    CloseURLMap(&map);
}

TEST_F(URLMapBuilderTest, ReplacesTheFileWholeOrNotAtAll) {
    WriteThreats(HARMFUL_LIST, {{"old.example", "Old"}});
    struct stat status;
    ASSERT_EQ(stat(m_folder.Path(HARMFUL_LIST).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0644u);
    EXPECT_EQ(m_folder.CountFiles(), 1u);
    const std::string old = m_folder.Get(HARMFUL_LIST);

    // A full disk, played by a limit on the size of files, in a process of its own.
    const int nInChild = RunInChild([this] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {4096, 4096};
        setrlimit(RLIMIT_FSIZE, &limit);
        tagURLMapBuilder builder;
        if (StartURLMap(&builder, URLMAP_THREATS) != URLMAP_OK) return 1;
        for (uint64_t n = 0; n < 10000; ++n)
            if (AddThreat(&builder, n, "x") != URLMAP_OK) return 2;
        if (WriteURLMap(&builder, m_folder.Path(HARMFUL_LIST).c_str()) != URLMAP_SYSTEM) return 3;
        return errno == EFBIG ? 0 : 4;
    });
    EXPECT_EQ(nInChild, 0);
    EXPECT_EQ(m_folder.CountFiles(), 1u);
    EXPECT_EQ(m_folder.Get(HARMFUL_LIST), old);

    tagURLMapBuilder builder;
    ASSERT_EQ(StartURLMap(&builder, URLMAP_THREATS), URLMAP_OK);
    EXPECT_EQ(WriteURLMap(&builder, m_folder.Path("none/x.map").c_str()), URLMAP_SYSTEM);
    FreeURLMapBuilder(&builder);
    FreeURLMapBuilder(&builder);
}

}  // namespace
