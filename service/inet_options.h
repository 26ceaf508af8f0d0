// The internet options: a raw record that another program writes and the daemon reads and compares.
#pragma once

#include <cstdint>

#include "common/export.h"
#include "service/service_config.h"

// 1 with the record in *pSettings; otherwise *pSettings is unchanged: 0 an argument is null, 2 no such file,
// 3 it cannot be opened, 4 it holds fewer than 788 bytes. The path is cut to 255 characters. A file that
// could be opened is left with mode 0666, so that its writer can replace the content. Any thread.
extern "C" WEBSEC_API int ReadInetOptions(const char* szPath, tagInetSettings* pSettings);

// Reads the options file. 0: *pChanged is 1 and *pCurrent replaced when the record differs from it, else
// *pChanged is 0. 1: not readable (*pChanged 0). 2: an argument is null. Main thread.
int CheckInetOptionsChange(tagInetSettings* pCurrent, uint8_t* pChanged);
