#include "category/catalogue_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <fstream>

#include "tests/unit/common/temp_folder.h"

namespace {

std::string InstalledCatalogue() {
    std::ifstream file(CATALOGUE_DIR "/en_US.utf8/LC_MESSAGES/lang.mo", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string WithWord(std::string bytes, size_t nOffset, uint32_t nWord) {
    return bytes.replace(nOffset, sizeof nWord, reinterpret_cast<const char*>(&nWord), sizeof nWord);
}

uint32_t WordAt(const std::string& bytes, size_t nOffset) {
    uint32_t nWord = 0;
    std::memcpy(&nWord, bytes.data() + nOffset, sizeof nWord);
    return nWord;
}

// What gettext does with these is not defined: it looks where they point.
TEST(CatalogueFile, IsSoundWhenAllLiesWithin) {
    const TempFolder folder;
    const auto isSound = [&](const std::string& bytes) {
        return IsSoundCatalogue(folder.Put("lang.mo", bytes).c_str());
    };
    const std::string sound = InstalledCatalogue();
    ASSERT_EQ(isSound(sound), 1);
    for (size_t nBytes = 0; nBytes < sound.size(); nBytes += nBytes < 28 ? 1 : 61)
        EXPECT_EQ(isSound(sound.substr(0, nBytes)), 0) << nBytes;

    const uint32_t nOriginals = WordAt(sound, 12), nTranslations = WordAt(sound, 16);
    const uint32_t nHash = WordAt(sound, 24);
    const auto nBytes = static_cast<uint32_t>(sound.size());
    const struct {
        const char* szReason;
        size_t nOffset;
        uint32_t nWord;
    } rows[] = {
        {"another byte order", 0, 0xDE120495},
        {"with texts that depend on the system", 4, 1},
        {"more texts than there is room for", 8, UINT32_MAX},
        {"originals behind the end", 12, nBytes - 4},
        {"translations far behind the end", 16, UINT32_MAX - 3},
        {"hash behind the end", 24, nBytes},
        {"a length that wraps around", nOriginals, UINT32_MAX},
        {"a text without an end", nTranslations + 8, WordAt(sound, nTranslations + 8) - 1},
        {"a place far behind the end", nTranslations + 4, UINT32_MAX},
        {"a text that does not exist", nHash, WordAt(sound, 8) + 1},
    };
    for (const auto& row : rows)
        EXPECT_EQ(isSound(WithWord(sound, row.nOffset, row.nWord)), 0) << row.szReason;

    std::string full = sound;
    for (uint32_t n = 0; n < WordAt(sound, 20); ++n)
        full = WithWord(full, nHash + n * 4, 1);
    EXPECT_EQ(isSound(full), 0) << "a search in a full hash never ends";

    ASSERT_EQ(mkfifo(folder.Path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(IsSoundCatalogue(folder.Path("pipe").c_str()), 0);
}

}  // namespace
