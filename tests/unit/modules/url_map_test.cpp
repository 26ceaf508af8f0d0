#include "modules/urlmap/url_map.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include "tests/unit/modules/list_folder.h"

namespace {

using testing::ElementsAre;

class URLMapTest : public ListFolderTest {
  protected:
    void TearDown() override {
        CloseURLMap(&m_map);
        ListFolderTest::TearDown();
    }
    tagURLMap m_map = {};
};

TEST_F(URLMapTest, FindsTheLongestMatch) {
    WriteThreatList(HARMFUL_LIST,
                    {{"a.example", "Host"}, {"a.example/x/", "Folder"}, {"A.example.", "Second"}});
    ASSERT_EQ(OpenListFile(&m_map, HARMFUL_LIST, URLMAP_THREATS), URLMAP_OK);
    EXPECT_EQ(ThreatIn(m_map, "b.a.example/x/y"), "Folder");
    EXPECT_EQ(ThreatIn(m_map, "a.example/y"), "Host") << "the first name of two";
    EXPECT_EQ(ThreatIn(m_map, "c.example"), "none");
}

TEST_F(URLMapTest, FindsEveryNameOfMany) {
    constexpr uint64_t NAMES = 20000;
    tagURLMapBuilder builder;
    ASSERT_EQ(StartURLMap(&builder, URLMAP_THREATS), URLMAP_OK);
    const auto keyOf = [](uint64_t n) { return URLKey(std::to_string(n)); };
    // The lowest and the highest key stand in the first and the last bucket.
    ASSERT_EQ(AddThreat(&builder, 0, "lowest"), URLMAP_OK);
    ASSERT_EQ(AddThreat(&builder, UINT64_MAX, "highest"), URLMAP_OK);
    for (uint64_t n = 0; n < NAMES; ++n)
        ASSERT_EQ(AddThreat(&builder, keyOf(n), std::to_string(n % 1000)), URLMAP_OK);
    const std::string path = m_folder.Path(HARMFUL_LIST);
    ASSERT_EQ(WriteURLMap(&builder, path.c_str()), URLMAP_OK);
    FreeURLMapBuilder(&builder);

    ASSERT_EQ(OpenURLMap(&m_map, path.c_str(), URLMAP_THREATS), URLMAP_OK);
    ASSERT_EQ(truncate(path.c_str(), 0), 0) << "whoever cuts the file of an open map does it no harm";
    const auto textOf = [this](uint64_t nKey) {
        const int32_t nText = FindURLKey(m_map, nKey);
        return nText < 0 ? std::string_view() : URLMapText(m_map, static_cast<uint32_t>(nText));
    };
    for (uint64_t n = 0; n < NAMES; ++n) {
        ASSERT_EQ(textOf(keyOf(n)), std::to_string(n % 1000)) << n;
        ASSERT_EQ(FindURLKey(m_map, keyOf(n + NAMES)), -1) << n;
    }
    EXPECT_EQ(textOf(0), "lowest");
    EXPECT_EQ(textOf(UINT64_MAX), "highest");
}

TEST_F(URLMapTest, SaysWhyAFileCannotBeUsed) {
    WriteCategoryList({{"a.example", 5}});
    mkdir(m_folder.Path("folder").c_str(), 0700);
    mkfifo(m_folder.Path("pipe").c_str(), 0600);
    m_folder.Put("empty", "");
    m_folder.Put("text", std::string(4096, 'x'));
    const std::pair<const char*, int> cases[] = {{"none", URLMAP_MISSING},     {"text/none", URLMAP_MISSING},
                                                 {"folder", URLMAP_DAMAGED},   {"pipe", URLMAP_DAMAGED},
                                                 {"empty", URLMAP_DAMAGED},    {"text", URLMAP_DAMAGED},
                                                 {CATEGORY_LIST, URLMAP_OTHER}};
    for (const auto& [szName, nResult] : cases) {
        EXPECT_EQ(OpenListFile(&m_map, szName, URLMAP_THREATS), nResult) << szName;
        EXPECT_EQ(m_map.nNames, 0u);
    }
}

// A name keeps five categories; an answer adds up those of all its matches, to five again.
TEST_F(URLMapTest, CategoriesAddUpFromTheLongestMatchOn) {
    const tagURLMapBuilder counts =
        WriteCategoryList({{"a.example", 5}, {"a.example/x/", 7}, {"A.example.", 9}, {"a.example", 5}});
    EXPECT_EQ(counts.nNames, 2u);
    EXPECT_EQ(counts.nMerged, 2u);
    EXPECT_EQ(counts.nCategoriesLost, 0u);
    ASSERT_EQ(OpenListFile(&m_map, CATEGORY_LIST, URLMAP_CATEGORIES), URLMAP_OK);
    EXPECT_THAT(CategoriesIn(m_map, "a.example/x/y"), ElementsAre(7, 5, 9));
    EXPECT_THAT(CategoriesIn(m_map, "c.example"), ElementsAre());
    CloseURLMap(&m_map);

    const char* const a = "a.example";
    EXPECT_EQ(WriteCategoryList({{a, 6}, {a, 1}, {a, 2}, {a, 3}, {a, 4}, {a, 5}, {"b.a.example", 4}})
                  .nCategoriesLost,
              1u);
    ASSERT_EQ(OpenListFile(&m_map, CATEGORY_LIST, URLMAP_CATEGORIES), URLMAP_OK);
    EXPECT_THAT(CategoriesIn(m_map, "a.example"), ElementsAre(6, 1, 2, 3, 4));
    EXPECT_THAT(CategoriesIn(m_map, "b.a.example"), ElementsAre(4, 6, 1, 2, 3));
}

// Each row breaks one thing of a sound file of three names, in two buckets, with two texts.
TEST_F(URLMapTest, RefusesDamage) {
    tagURLMapBuilder builder;
    ASSERT_EQ(StartURLMap(&builder, URLMAP_THREATS), URLMAP_OK);
    for (const auto& [nKey, szName] :
         {std::pair(uint64_t{1}, "one"), {uint64_t{9}, "two"}, {UINT64_MAX, "one"}})
        ASSERT_EQ(AddThreat(&builder, nKey, szName), URLMAP_OK);
    ASSERT_EQ(WriteURLMap(&builder, m_folder.Path("map").c_str()), URLMAP_OK);
    FreeURLMapBuilder(&builder);
    const std::string sound = m_folder.Get("map");
    tagURLMapHeader header;
    std::memcpy(&header, sound.data(), sizeof header);

    const auto open = [this](const std::string& bytes) {
        std::vector<uint64_t> aligned(bytes.size() / 8 + 1);
        std::memcpy(aligned.data(), bytes.data(), bytes.size());
        const auto* const pBytes = reinterpret_cast<const uint8_t*>(aligned.data());
        return AttachURLMap(&m_map, {pBytes, bytes.size()}, URLMAP_THREATS);
    };
    ASSERT_EQ(open(sound), URLMAP_OK);
    for (size_t n = 0; n < sound.size(); ++n)
        EXPECT_EQ(open(sound.substr(0, n)), URLMAP_DAMAGED) << "cut to " << n;
    EXPECT_EQ(open(sound + "x"), URLMAP_DAMAGED);

    const struct {
        uint64_t nOffset;
        uint8_t nByte;
        int nResult;
        const char* szWhy;
    } cases[] = {
        {0, 'w', URLMAP_DAMAGED, "magic"},
        {offsetof(tagURLMapHeader, nVersion), 2, URLMAP_OTHER, "version"},
        {offsetof(tagURLMapHeader, nByteOrder), 1, URLMAP_OTHER, "byte order"},
        {offsetof(tagURLMapHeader, nKind), URLMAP_CATEGORIES, URLMAP_OTHER, "kind"},
        {offsetof(tagURLMapHeader, nNames), 4, URLMAP_DAMAGED, "one name more than there is room for"},
        {offsetof(tagURLMapHeader, nNames) + 3, 0x80, URLMAP_DAMAGED, "names without number"},
        {offsetof(tagURLMapHeader, nIndexBits), 0, URLMAP_DAMAGED, "no index"},
        {offsetof(tagURLMapHeader, nIndexBits), 64, URLMAP_DAMAGED, "index wider than a key"},
        {offsetof(tagURLMapHeader, nTexts) + 3, 0x80, URLMAP_DAMAGED, "texts without number"},
        {offsetof(tagURLMapHeader, nKeysOffset) + 7, 0xFF, URLMAP_DAMAGED, "section outside the file"},
        {header.nIndexOffset, 1, URLMAP_DAMAGED, "first bucket does not begin at 0"},
        {header.nIndexOffset + 4, 1, URLMAP_DAMAGED, "a key in the next bucket"},
        {header.nIndexOffset + 7, 0x80, URLMAP_DAMAGED, "a bucket that ends behind the names"},
        {header.nIndexOffset + 8, 2, URLMAP_DAMAGED, "last bucket ends before the names do"},
        {header.nKeysOffset, 9, URLMAP_DAMAGED, "a key twice"},
        {header.nKeysOffset, 10, URLMAP_DAMAGED, "keys that descend"},
        {header.nValuesOffset, 2, URLMAP_DAMAGED, "a text that is not there"},
        {header.nOffsetsOffset, 1, URLMAP_DAMAGED, "texts that do not begin at 0"},
        {header.nOffsetsOffset + 4, 7, URLMAP_DAMAGED, "a text that ends behind the texts"},
        {header.nOffsetsOffset + 4, 0, URLMAP_DAMAGED, "an empty text"},
        {header.nOffsetsOffset + 8, 5, URLMAP_DAMAGED, "texts shorter than the file"},
    };
    for (const auto& c : cases) {
        std::string bytes = sound;
        bytes[c.nOffset] = static_cast<char>(c.nByte);
        EXPECT_EQ(open(bytes), c.nResult) << c.szWhy;
        EXPECT_EQ(m_map.pKeys, nullptr) << c.szWhy;
    }
}

TEST_F(URLMapTest, RefusesMoreThreatNamesThanTheMapCanNumber) {
    tagURLMapBuilder builder;
    ASSERT_EQ(StartURLMap(&builder, URLMAP_THREATS), URLMAP_OK);
    for (uint32_t n = 0; n < URLMAP_TEXTS_MAX; ++n)
        ASSERT_EQ(AddThreat(&builder, n, std::to_string(n)), URLMAP_OK);
    EXPECT_EQ(AddThreat(&builder, URLMAP_TEXTS_MAX, "one more"), URLMAP_TOO_MANY);
    EXPECT_EQ(AddThreat(&builder, URLMAP_TEXTS_MAX, "77"), URLMAP_OK);
    ASSERT_EQ(WriteURLMap(&builder, m_folder.Path(HARMFUL_LIST).c_str()), URLMAP_OK);
    FreeURLMapBuilder(&builder);
    ASSERT_EQ(OpenListFile(&m_map, HARMFUL_LIST, URLMAP_THREATS), URLMAP_OK);
    EXPECT_EQ(URLMapText(m_map, static_cast<uint32_t>(FindURLKey(m_map, URLMAP_TEXTS_MAX))), "77");
    EXPECT_EQ(URLMapText(m_map, static_cast<uint32_t>(FindURLKey(m_map, 65535))), "65535");
}

// A disk that is full is met by an import.
TEST_F(URLMapTest, IsReadableForAllAndLeavesNothingBeside) {
    WriteThreatList(HARMFUL_LIST, {{"a.example", "A"}});
    struct stat status;
    ASSERT_EQ(stat(m_folder.Path(HARMFUL_LIST).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0644u);
    EXPECT_EQ(m_folder.CountFiles(), 1u);
    tagURLMapBuilder builder;
    ASSERT_EQ(StartURLMap(&builder, URLMAP_THREATS), URLMAP_OK);
    EXPECT_EQ(WriteURLMap(&builder, m_folder.Path("none/x.map").c_str()), URLMAP_SYSTEM);
    FreeURLMapBuilder(&builder);
    FreeURLMapBuilder(&builder);
}

}  // namespace
