// The reflected CRC-32 of IEEE 802.3 and zlib (polynomial 0xEDB88320). Exported as a C++ class: the mangled
// names, const or not, are part of the interface.
#pragma once

#include "common/crc32_step.h"
#include "common/export.h"

// Each operation gives 1, or 0 with *crc untouched when a pointer is null or the file cannot be read. An
// object does not change after its construction and may be shared between threads.
class WEBSEC_API CKVCrc32 {
  public:
    CKVCrc32();
    ~CKVCrc32();

    int GenerateCrc32Table();

    // The register after the buffer, from 0xFFFFFFFF, without the final inversion.
    int GetBuffCrc32(const unsigned char* buffer, int length, unsigned int* crc);

    // Goes on from the register in *crc, so that a caller may run over several buffers: start with
    // 0xFFFFFFFF, invert at the end.
    int GetBuffCrc32Ex(const unsigned char* buffer, int length, unsigned int* crc);

    // The standard CRC-32 of a whole file, by buffered or by plain reads, and of a text without its NUL.
    int GetFileCrc32fopen(const char* path, unsigned int* crc);
    int GetFileCrc32open(const char* path, unsigned int* crc);
    int GetStringCrc32(const char* text, unsigned int* crc);

  private:
    tagCrc32Table m_Table;
};
