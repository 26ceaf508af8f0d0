// The Internet checksum (RFC 1071): verifies queued packets and signs the reset. Leaf header; works on its
// arguments only.
#pragma once

#include <cstdint>

// The one's complement of the folded sum of nInitialSum and the 16-bit words of nLength bytes, in memory
// order; an odd last byte counts as a word padded with zero. The result is stored into a header as it is, and
// a header or segment that includes its right checksum yields 0.
//
// pData needs no alignment and may be null only with nLength 0.
uint16_t InternetChecksum(const uint8_t* pData, uint32_t nLength, uint32_t nInitialSum);
