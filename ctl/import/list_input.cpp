#include "ctl/import/list_input.h"

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "ctl/import/interruption.h"
#include "ctl/output.h"

namespace {

// Lists of names shrink to a third or a tenth; what was made to fill memory and time, to a thousandth.
constexpr uint64_t EXPANSION_MAX = 200;
constexpr uint64_t EXPANSION_FREE_BYTES = 16 << 20;

}  // namespace

ListInput::ListInput(const std::string& path) : m_path(path), m_fd(-1), m_pArchive(nullptr) {
    m_fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    LeaveWhenInterrupted();
    if (m_fd < 0) throw CtlError("cannot open " + Quoted(path) + ": " + std::strerror(errno));
    struct stat status = {};
    (void)fstat(m_fd, &status);
    m_pArchive = archive_read_new();
    if (!m_pArchive) {
        close(m_fd);
        throw std::bad_alloc();
    }
    archive_read_support_filter_gzip(m_pArchive);
    archive_read_support_filter_bzip2(m_pArchive);
    archive_read_support_format_tar(m_pArchive);
    archive_read_support_format_zip(m_pArchive);
    archive_read_support_format_raw(m_pArchive);
    archive_read_support_format_empty(m_pArchive);
    archive_read_set_callback_data(m_pArchive, this);
    archive_read_set_read_callback(m_pArchive, ReadCallback);
    if (S_ISREG(status.st_mode)) {
        m_nSize = static_cast<uint64_t>(status.st_size);
        archive_read_set_seek_callback(m_pArchive, SeekCallback);
    }
    if (archive_read_open1(m_pArchive) < ARCHIVE_WARN) {
        const std::string why = archive_error_string(m_pArchive) ? archive_error_string(m_pArchive) : "";
        archive_read_free(m_pArchive);
        close(m_fd);
        LeaveWhenInterrupted();
        throw CtlError("cannot read " + Quoted(path) + ": " + Printable(why));
    }
}

ListInput::~ListInput() {
    archive_read_free(m_pArchive);
    close(m_fd);
}

bool ListInput::Next() {
    int nResult = ARCHIVE_RETRY;
    while (nResult == ARCHIVE_RETRY)
        nResult = archive_read_next_header(m_pArchive, &m_pEntry);
    LeaveWhenInterrupted();
    if (nResult == ARCHIVE_EOF) return false;
    if (nResult < ARCHIVE_WARN) Fail(archive_error_string(m_pArchive));
    RefuseBomb();
    m_member.clear();
    if (IsArchive()) {
        const char* szName = archive_entry_pathname(m_pEntry);
        if (!szName) szName = archive_entry_pathname_utf8(m_pEntry);
        m_member = szName ? szName : "?";
    }
    return true;
}

bool ListInput::IsArchive() const {
    const int nFormat = archive_format(m_pArchive) & ARCHIVE_FORMAT_BASE_MASK;
    return nFormat != ARCHIVE_FORMAT_RAW && nFormat != ARCHIVE_FORMAT_EMPTY;
}

bool ListInput::IsRegularFile() const {
    return archive_entry_filetype(m_pEntry) == AE_IFREG && !archive_entry_hardlink(m_pEntry);
}

size_t ListInput::Read(std::span<char> bytes) {
    size_t nFilled = 0;
    while (nFilled < bytes.size()) {
        const auto nRead = archive_read_data(m_pArchive, bytes.data() + nFilled, bytes.size() - nFilled);
        LeaveWhenInterrupted();
        if (nRead == ARCHIVE_RETRY) continue;
        if (nRead < 0) Fail(archive_error_string(m_pArchive));
        if (nRead == 0) break;
        nFilled += static_cast<size_t>(nRead);
    }
    m_nExpanded += nFilled;
    RefuseBomb();
    return nFilled;
}

uint64_t ListInput::BytesRead() const {
    return static_cast<uint64_t>(std::max<int64_t>(archive_filter_bytes(m_pArchive, -1), 0));
}

// A tar archive's own records count as well, for an archive may have millions of empty members.
void ListInput::RefuseBomb() const {
    const auto nUnpacked = static_cast<uint64_t>(std::max<int64_t>(archive_filter_bytes(m_pArchive, 0), 0));
    const uint64_t nExpanded = std::max(m_nExpanded, nUnpacked);
    const uint64_t nPacked = m_nSize != 0 ? m_nSize : BytesRead();
    if (nExpanded > EXPANSION_FREE_BYTES && nExpanded / EXPANSION_MAX > nPacked) {
        Fail("it expands to more than 200 times its size, which no list does");
    }
}

void ListInput::Fail(const char* szWhy) const {
    throw CtlError("cannot read " + Quoted(m_path) + ": " + Printable(szWhy ? szWhy : "it is damaged"));
}

// Called from C: nothing may be thrown here. An interrupted wait gives up; the callers above look for it. It
// waits in short steps, since a signal may come just before a wait.
long ListInput::ReadCallback(archive* pArchive, void* pInput, const void** ppBytes) {
    constexpr int STEP_MS = 100;
    auto* pThis = static_cast<ListInput*>(pInput);
    pollfd ready = {pThis->m_fd, POLLIN, 0};
    while (!IsInterrupted() && poll(&ready, 1, STEP_MS) <= 0) {
    }
    const ssize_t nRead = IsInterrupted() ? -1 : read(pThis->m_fd, pThis->m_buffer, sizeof pThis->m_buffer);
    if (nRead < 0) archive_set_error(pArchive, errno, "%s", std::strerror(errno));
    *ppBytes = pThis->m_buffer;
    return nRead;
}

int64_t ListInput::SeekCallback(archive*, void* pInput, int64_t nOffset, int nWhence) {
    const off_t nAt = lseek(static_cast<ListInput*>(pInput)->m_fd, nOffset, nWhence);
    return nAt < 0 ? ARCHIVE_FATAL : nAt;
}
