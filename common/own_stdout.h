// Whether standard output still is what the process was started with. Leaf header.
#pragma once

#include <cstdint>

// 1 at process start. Detaching closes descriptors 0 to 2, which then belong to whatever is opened next (the
// queue's socket, a database), so it sets this to 0 as well, before there are other threads. Print to
// standard output only while this is 1.
inline uint8_t g_bStdoutIsOurs = 1;
