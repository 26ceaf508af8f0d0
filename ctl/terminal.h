// What standard output can show.
#pragma once

#include <cstddef>

struct tagTerminal {
    size_t nWidth;  // columns; 0: as many as a line takes
    bool bUtf8;     // the locale's characters are UTF-8
};

// The width is that of the terminal; when it does not tell, of COLUMNS; without that 80 on a terminal, and
// boundless elsewhere.
tagTerminal DescribeTerminal();
