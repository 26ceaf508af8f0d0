#include "common/library_file.h"

#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

#include "common/cancellation_off.h"

namespace {

using ElfHeader = ElfW(Ehdr);
using ElfSegment = ElfW(Phdr);

bool HasAllSegments(int fd);
bool ReadAt(int fd, uint64_t nOffset, void* pTo, size_t nBytes);

}  // namespace

int IsWholeLibrary(const char* szPath) {
    const CancellationOff cancellationOff;
    const int fd = szPath ? open(szPath, O_RDONLY | O_CLOEXEC | O_NONBLOCK) : -1;
    if (fd < 0) return 0;
    const bool bWhole = HasAllSegments(fd);
    close(fd);
    return bWhole ? 1 : 0;
}

namespace {

bool HasAllSegments(int fd) {
    struct stat about {};
    ElfHeader header;
    if (fstat(fd, &about) != 0 || !S_ISREG(about.st_mode) || !ReadAt(fd, 0, &header, sizeof header))
        return false;
    if (std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 || header.e_phentsize != sizeof(ElfSegment))
        return false;
    const auto nFileBytes = static_cast<uint64_t>(about.st_size);
    for (uint16_t n = 0; n < header.e_phnum; ++n) {
        ElfSegment segment;
        if (!ReadAt(fd, header.e_phoff + n * sizeof segment, &segment, sizeof segment)) return false;
        if (segment.p_filesz > nFileBytes || segment.p_offset > nFileBytes - segment.p_filesz) return false;
    }
    return header.e_phnum != 0;
}

bool ReadAt(int fd, uint64_t nOffset, void* pTo, size_t nBytes) {
    return pread(fd, pTo, nBytes, static_cast<off_t>(nOffset)) == static_cast<ssize_t>(nBytes);
}

}  // namespace
