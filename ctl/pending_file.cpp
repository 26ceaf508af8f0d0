#include "ctl/pending_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "ctl/output.h"

PendingFile::PendingFile(const std::string& path) : m_path(path), m_pendingPath(path + ".XXXXXX") {
    struct stat existing;
    if (stat(path.c_str(), &existing) == 0 && !S_ISREG(existing.st_mode)) {
        throw CtlError("refused: " + Quoted(path) + " is not a regular file");
    }
    m_fd = mkostemp(m_pendingPath.data(), O_CLOEXEC);
    if (m_fd < 0) Fail("cannot create a file beside", m_path);
}

PendingFile::~PendingFile() {
    if (!m_pendingPath.empty()) unlink(m_pendingPath.c_str());
    close(m_fd);
}

void PendingFile::Write(std::span<const uint8_t> bytes, off_t nOffset) {
    while (!bytes.empty()) {
        const ssize_t n = pwrite(m_fd, bytes.data(), bytes.size(), nOffset);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) Fail("cannot write", m_pendingPath);
        bytes = bytes.subspan(static_cast<size_t>(n));
        nOffset += n;
    }
}

void PendingFile::PutInPlace(mode_t nMode) {
    if (fchmod(m_fd, nMode) != 0 || fsync(m_fd) != 0) Fail("cannot finish", m_pendingPath);
    if (rename(m_pendingPath.c_str(), m_path.c_str()) != 0) Fail("cannot replace", m_path);
    m_pendingPath.clear();
}

void PendingFile::Fail(const char* szWhat, const std::string& path) const {
    throw CtlError(std::string(szWhat) + " " + Printable(path) + ": " + std::strerror(errno));
}
