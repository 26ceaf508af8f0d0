#include "category/category_status.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "common/product_paths.h"
#include "policy/data_file.h"

namespace {

constexpr uint32_t STATUS_BODY_BYTES = 6;

uint32_t ReadOpenStatus(int fd, uint8_t& nStatus);

}  // namespace

uint32_t ReadCategoryStatus(uint8_t* pStatus) {
    return ReadCategoryStatusFrom(CATEGORY_STATUS_FILE, pStatus);
}

uint32_t ReadCategoryStatusFrom(const char* szPath, uint8_t* pStatus) {
    if (!pStatus) return 2;
    // A pipe put in the file's place must not hold the reader up.
    const int fd = open(szPath, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return static_cast<uint32_t>(errno);
    const uint32_t nResult = ReadOpenStatus(fd, *pStatus);
    close(fd);
    return nResult;
}

namespace {

uint32_t ReadOpenStatus(int fd, uint8_t& nStatus) {
    const int nHeader = CheckDataFileHeader(fd);
    if (nHeader != 0) return static_cast<uint32_t>(nHeader);
    uint8_t body[STATUS_BODY_BYTES];
    const ssize_t nRead = pread(fd, body, sizeof body, DATAFILE_BODY_OFFSET);
    if (nRead < 0) return static_cast<uint32_t>(errno);
    if (nRead != sizeof body) return EIO;
    if (!DecryptBuffer(body, body, sizeof body, DATAFILE_KEY)) return 1;
    nStatus = body[0];
    return 0;
}

}  // namespace
