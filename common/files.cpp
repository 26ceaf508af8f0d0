#include "common/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/cancellation_off.h"

namespace {

enum CopyResult { COPY_WHOLE, COPY_NOT_OPENED, COPY_BROKEN };

CopyResult CopyByName(const char* szFrom, const char* szTo);
CopyResult CopyBytes(int nFrom, int nTo);

}  // namespace

int IsValidPath(const char* path) {
    struct stat about;
    return path && stat(path, &about) == 0 ? 1 : 0;
}

int KVCopyFile(const char* src, const char* dst) {
    return CopyByName(src, dst) == COPY_WHOLE ? 1 : 0;
}

int CopyFile(const char* src, const char* dst) {
    const CopyResult result = CopyByName(src, dst);
    if (result == COPY_WHOLE) (void)chmod(dst, 0777);
    if (result == COPY_BROKEN) (void)unlink(dst);
    return result == COPY_WHOLE ? 1 : 0;
}

namespace {

CopyResult CopyByName(const char* szFrom, const char* szTo) {
    if (!szFrom || !szTo) return COPY_NOT_OPENED;
    const CancellationOff cancellationOff;
    const int nFrom = open(szFrom, O_RDONLY | O_CLOEXEC);
    if (nFrom < 0) return COPY_NOT_OPENED;
    const int nTo = open(szTo, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    CopyResult result = COPY_NOT_OPENED;
    if (nTo >= 0) {
        result = CopyBytes(nFrom, nTo);
        if (close(nTo) != 0) result = COPY_BROKEN;
    }
    close(nFrom);
    return result;
}

CopyResult CopyBytes(int nFrom, int nTo) {
    char block[1024];
    ssize_t nRead;
    while ((nRead = read(nFrom, block, sizeof(block))) > 0) {
        if (write(nTo, block, static_cast<size_t>(nRead)) != nRead) return COPY_BROKEN;
    }
    return nRead == 0 ? COPY_WHOLE : COPY_BROKEN;
}

}  // namespace
