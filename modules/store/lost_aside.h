// Where the number of lost records is kept when the store itself cannot be written: at a stop with a full
// disk or a locked store. It is the size of a sparse file beside the store, which takes no block of the disk
// and no lock of the store (but one of its own, waited for a fifth of a second). The next writer moves the
// number into the store.
#pragma once

#include <cstdint>

#include "modules/store/store.h"

// Adds to the number beside the store at StorePath(). Answers 0, or 1 when even that cannot be kept.
int AddLostAside(int64_t nLost);

// The number beside this store; 0 without one.
int64_t ReadLostAside(const tagStore* pStore);

// Moves the number into the store. On failure both stay as they are. Not inside a change.
int TakeLostAside(tagStore* pStore);
