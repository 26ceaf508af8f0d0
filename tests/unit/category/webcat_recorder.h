// Stands in for the engine library: the test program's own functions take the place of the library's. They
// note their calls and answer as told.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct tagWebcatRecorder {
    std::string szCalls;  // a blank behind each
    int nInitResult = 0;
    int nLookupResult = 0;
    std::vector<uint16_t> ids;  // what a look-up finds
    std::string szHost;         // of the last look-up
    std::string szURL;
    int nReal = -1;  // what was last mapped; the answer is one more
};
extern tagWebcatRecorder g_Webcat;
