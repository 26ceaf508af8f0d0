#include "service/inet_options.h"

#include <sys/stat.h>

#include <cstring>

#include "common/product_paths.h"
#include "tests/support/data_file_writer.h"
#include "tests/unit/common/temp_folder.h"
#include "tests/unit/service/private_machine.h"

namespace {

tagInetSettings Filled(uint8_t nByte) {
    tagInetSettings settings;
    std::memset(&settings, nByte, sizeof settings);
    return settings;
}

TEST(ReadInetOptions, TakesAWholeRecordOnly) {
    const TempFolder folder;
    const std::pair<const char*, int> rows[] = {{"missing", 2}, {"socket", 3}, {"pipe", 4},
                                                {"787", 4},     {"788", 1},    {"longer", 1}};
    mknod(folder.Path("socket").c_str(), S_IFSOCK | 0600, 0);
    mkfifo(folder.Path("pipe").c_str(), 0600);
    folder.Put("787", std::string(787, '\x11'));
    folder.Put("788", std::string(788, '\x11'));
    folder.Put("longer", std::string(788, '\x11') + "more");
    for (const auto& [szName, nResult] : rows) {
        SCOPED_TRACE(szName);
        const std::string path = folder.Path(szName);
        chmod(path.c_str(), 0600);
        tagInetSettings settings = Filled(0xEE);
        EXPECT_EQ(ReadInetOptions(path.c_str(), &settings), nResult);
        EXPECT_EQ(BytesOf(settings), BytesOf(Filled(nResult == 1 ? 0x11 : 0xEE)));
        struct stat info {};
        if (stat(path.c_str(), &info) == 0) {
            EXPECT_EQ(info.st_mode & 07777, nResult == 3 ? 0600u : 0666u);
        }
    }
    tagInetSettings settings;
    EXPECT_EQ(ReadInetOptions(nullptr, &settings), 0);
    EXPECT_EQ(ReadInetOptions(folder.Path("788").c_str(), nullptr), 0);
}

TEST(CheckInetOptionsChange, ComparesEveryByte) {
    const std::string missing = EnterPrivateMachine();
    if (!missing.empty()) GTEST_SKIP() << missing;
    const std::string same = BytesOf(Filled(0x11));
    for (const size_t nByte : {0, 787, 788}) {
        std::string file = same;
        if (nByte < file.size()) file[nByte] = 'x';
        const bool bDiffers = file != same;
        PutFile(INET_OPTIONS_FILE, file);
        tagInetSettings current = Filled(0x11);
        uint8_t bChanged = 0xEE;
        EXPECT_EQ(CheckInetOptionsChange(&current, &bChanged), 0);
        EXPECT_EQ(bChanged, bDiffers) << nByte;
        EXPECT_EQ(BytesOf(current), file) << nByte;
    }
    PutFile(INET_OPTIONS_FILE, same.substr(1));
    tagInetSettings current = Filled(0xEE);
    uint8_t bChanged = 0xEE;
    EXPECT_EQ(CheckInetOptionsChange(&current, &bChanged), 1);
    EXPECT_EQ(bChanged, 0);
    EXPECT_EQ(BytesOf(current), BytesOf(Filled(0xEE)));
    EXPECT_EQ(CheckInetOptionsChange(nullptr, &bChanged), 2);
    EXPECT_EQ(CheckInetOptionsChange(&current, nullptr), 2);
}

}  // namespace
