#include "common/byte_search.h"

#include <string.h>
#include <unistd.h>

#include "common/narrow_string.h"

long SearchFor(const unsigned char* buffer, unsigned int length, const unsigned char* pattern,
               unsigned int patternLength) {
    if (!buffer || !pattern || patternLength < 1 || patternLength > length) return -1;
    const void* pFound = memmem(buffer, length, pattern, patternLength);
    return pFound ? static_cast<const unsigned char*>(pFound) - buffer : -1;
}

long SearchInFile(int fd, const unsigned char* pattern, unsigned int patternLength, long offset) {
    if (fd == -1 || !pattern || offset < 0 || lseek(fd, offset, SEEK_SET) == -1) return -1;
    // Consecutive blocks overlap by more than the pattern. A later block must hold more than the overlap;
    // this also ends the search for a pattern that leaves no room to go forward.
    const long nOverlap = static_cast<long>(patternLength) + 5;
    char block[2048];
    long nStart = offset;
    long nRead = read(fd, block, sizeof(block));
    while (nRead > 0) {
        strUpr(block, static_cast<int>(nRead));
        const long nFound = SearchFor(reinterpret_cast<const unsigned char*>(block),
                                      static_cast<unsigned int>(nRead), pattern, patternLength);
        if (nFound >= 0) return nStart + nFound;
        nStart = lseek(fd, -nOverlap, SEEK_CUR);
        if (nStart == -1) return -1;
        nRead = read(fd, block, sizeof(block));
        if (nRead <= nOverlap) return -1;
    }
    return -1;
}
