#include "service/inet_options.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "common/copy_text.h"
#include "common/product_paths.h"

namespace {
// The bytes read, at most nBytes.
size_t ReadFully(int fd, uint8_t* pBuffer, size_t nBytes) {
    size_t nRead = 0;
    while (nRead < nBytes) {
        const ssize_t n = read(fd, pBuffer + nRead, nBytes - nRead);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        nRead += static_cast<size_t>(n);
    }
    return nRead;
}
}  // namespace

int ReadInetOptions(const char* szPath, tagInetSettings* pSettings) {
    if (!szPath || !pSettings) return 0;
    char szWorkPath[256];
    (void)CopyText(szWorkPath, szPath);
    if (access(szWorkPath, F_OK) != 0) return 2;
    // A pipe put in the file's place must not hold the reader up.
    const int fd = open(szWorkPath, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return 3;

    tagInetSettings work{};
    const size_t nRead = ReadFully(fd, reinterpret_cast<uint8_t*>(&work), sizeof work);
    close(fd);
    (void)chmod(szWorkPath, 0666);
    if (nRead < sizeof work) return 4;
    *pSettings = work;
    return 1;
}

int CheckInetOptionsChange(tagInetSettings* pCurrent, uint8_t* pChanged) {
    if (!pCurrent || !pChanged) return 2;
    *pChanged = 0;
    tagInetSettings read{};
    if (ReadInetOptions(INET_OPTIONS_FILE, &read) != 1) return 1;
    if (std::memcmp(&read, pCurrent, sizeof read) != 0) {
        *pCurrent = read;
        *pChanged = 1;
    }
    return 0;
}
