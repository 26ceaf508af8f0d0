// The checksum that protects the product's data files: whoever writes such a file and whoever checks it link
// this library, libasapsdk.so.
//
// It is the CRC-32 of IEEE 802.3 and zlib (polynomial 0xEDB88320 reflected, start and final inversion) over
// the whole file except bytes 84 to 87, where the checksum itself is kept.
#pragma once

#include <cstdint>

#include "common/export.h"

// Computes the checksum of the open file fd, from its beginning whatever its position, which is left alone.
// Returns false, *pChecksum untouched, when an argument is missing, the file cannot be read by position, or
// it is shorter than 88 bytes. Keeps no state; any thread.
extern "C" WEBSEC_API bool CalculateCheckSum(int fd, uint32_t* pChecksum);
