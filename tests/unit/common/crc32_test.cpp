#include "common/crc32.h"

#include "tests/unit/common/temp_folder.h"

namespace {

const unsigned char* Bytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

TEST(Crc32, GivesTheStandardCheckValues) {
    CKVCrc32 crc32;
    unsigned int nCrc = 0;
    EXPECT_EQ(crc32.GetStringCrc32("123456789", &nCrc), 1);
    EXPECT_EQ(nCrc, 0xCBF43926U);
    EXPECT_EQ(crc32.GetBuffCrc32(Bytes("123456789"), 9, &nCrc), 1);
    EXPECT_EQ(nCrc, 0x340BC6D9U);
    nCrc = 0xFFFFFFFF;
    EXPECT_EQ(crc32.GetBuffCrc32Ex(Bytes("1234"), 4, &nCrc), 1);
    EXPECT_EQ(crc32.GetBuffCrc32Ex(Bytes("56789"), 5, &nCrc), 1);
    EXPECT_EQ(crc32.GetBuffCrc32Ex(Bytes("x"), -1, &nCrc), 1);
    EXPECT_EQ(nCrc, 0x340BC6D9U);
}

TEST(Crc32, RunsOverWholeFiles) {
    CKVCrc32 crc32;
    const TempFolder folder;
    for (const int nBytes : {0, 1, 1024, 1025, 3000}) {
        std::string bytes(static_cast<size_t>(nBytes), '\xA5');
        if (nBytes > 1) bytes[1] = '\0';
        const std::string path = folder.Put("file", bytes);
        unsigned int nRegister = 0;
        unsigned int nBuffered = 1;
        unsigned int nPlain = 2;
        crc32.GetBuffCrc32(Bytes(bytes), nBytes, &nRegister);
        EXPECT_EQ(crc32.GetFileCrc32fopen(path.c_str(), &nBuffered), 1);
        EXPECT_EQ(crc32.GetFileCrc32open(path.c_str(), &nPlain), 1);
        EXPECT_EQ(nBuffered, ~nRegister) << nBytes;
        EXPECT_EQ(nPlain, ~nRegister) << nBytes;
    }
}

TEST(Crc32, LeavesTheResultAloneOnFailure) {
    CKVCrc32 crc32;
    unsigned int nCrc = 42;
    EXPECT_FALSE(crc32.GetStringCrc32(nullptr, &nCrc) || crc32.GetBuffCrc32(nullptr, 1, &nCrc) ||
                 crc32.GetBuffCrc32Ex(nullptr, 1, &nCrc));
    for (const char* szPath : {static_cast<const char*>(nullptr), "/nonexistent", "/"}) {
        EXPECT_EQ(crc32.GetFileCrc32fopen(szPath, &nCrc), 0);
        EXPECT_EQ(crc32.GetFileCrc32open(szPath, &nCrc), 0);
    }
    EXPECT_EQ(nCrc, 42U);
}

}  // namespace
