// Stands in for the engine library: the test program's own functions take the place of the library's. They
// note their calls and answer as told.
#pragma once

#include <string>

struct tagWebcatRecorder {
    std::string szCalls;  // a blank behind each
    int nInitResult = 0;
    int nReal = -1;  // what was last mapped; the answer is one more
};
extern tagWebcatRecorder g_Webcat;
