// A bounded cursor over bytes that came from outside. Reading past the end sets bFailed and yields nothing;
// failure sticks, so a parser may read a whole run of fields and ask once. Lengths are only ever subtracted
// from lengths known to be larger: nothing wraps. Numbers are big-endian, as on the wire.
#pragma once

#include <cstddef>
#include <cstdint>

struct tagByteCursor {
    const uint8_t* pData;  // first byte; null only with nLen 0
    uint32_t nLen;         // bytes in all
    uint32_t nPos;         // bytes taken so far, never more than nLen
    uint8_t bFailed;       // 1 once a read asked for more than was there
};

inline uint32_t BytesLeft(const tagByteCursor& c) {
    return c.bFailed ? 0 : c.nLen - c.nPos;
}

// The next n bytes, or null when fewer are left (the cursor has then failed).
inline const uint8_t* TakeBytes(tagByteCursor& c, uint32_t n) {
    if (c.bFailed || n > c.nLen - c.nPos) {
        c.bFailed = 1;
        return nullptr;
    }
    const uint8_t* p = c.pData + c.nPos;
    c.nPos += n;
    return p;
}

inline uint8_t ReadU8(tagByteCursor& c) {
    const uint8_t* p = TakeBytes(c, 1);
    return p ? p[0] : uint8_t{0};
}

inline uint16_t ReadU16(tagByteCursor& c) {
    const uint8_t* p = TakeBytes(c, 2);
    return p ? static_cast<uint16_t>(p[0] << 8 | p[1]) : uint16_t{0};
}

// A cursor over the next n bytes only: what it reads cannot leave them. Failed when they are not there.
inline tagByteCursor TakePart(tagByteCursor& c, uint32_t n) {
    const uint8_t* p = TakeBytes(c, n);
    return p ? tagByteCursor{p, n, 0, 0} : tagByteCursor{nullptr, 0, 0, 1};
}
