#include "ctl/data_file_writer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <span>

#include "common/copy_text.h"
#include "ctl/output.h"
#include "modules/asapsdk/check_sum.h"
#include "policy/data_file.h"

namespace {

// A file that is not there yet under its own name; removed again unless it is put in place.
class PendingFile {
  public:
    explicit PendingFile(const std::string& path);
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    int Descriptor() const { return m_fd; }
    void Write(std::span<const uint8_t> bytes, off_t nOffset);
    void PutInPlace();

  private:
    [[noreturn]] void Fail(const char* szWhat, const std::string& path) const;

    std::string m_path;
    std::string m_pendingPath;
    int m_fd;
};

Records BuildImage(const tagDataFileKind& kind, const Records& records);
void AppendScrambled(std::span<const uint8_t> plain, Records& image);

}  // namespace

void WriteDataFile(const std::string& path, const tagDataFileKind& kind, const Records& records) {
    PendingFile file(path);
    file.Write(BuildImage(kind, records), 0);
    uint32_t nChecksum = 0;
    if (!CalculateCheckSum(file.Descriptor(), &nChecksum)) {
        throw CtlError("cannot compute the checksum of " + Printable(path));
    }
    file.Write({reinterpret_cast<const uint8_t*>(&nChecksum), sizeof nChecksum},
               offsetof(tagDataFileHeader, nChecksum));
    file.PutInPlace();
}

namespace {

// The file as it will be, but for its checksum.
Records BuildImage(const tagDataFileKind& kind, const Records& records) {
    tagDataFileHeader header{};
    std::memcpy(header.szMagic, DATAFILE_MAGIC, sizeof header.szMagic);
    CopyText(header.szCopyright, DATAFILE_COPYRIGHT);
    const auto* pHeader = reinterpret_cast<const uint8_t*>(&header);
    Records image(pHeader, pHeader + sizeof header);
    const auto nCount = static_cast<uint32_t>(CountRecords(kind, records));
    AppendScrambled({reinterpret_cast<const uint8_t*>(&nCount), kind.nCountBytes}, image);
    AppendScrambled(records, image);
    return image;
}

// The inverse of DecryptBuffer.
void AppendScrambled(std::span<const uint8_t> plain, Records& image) {
    for (const uint8_t byte : plain) {
        image.push_back(
            static_cast<uint8_t>((DATAFILE_KEY & 31) ^ ((byte + DATAFILE_KEY * DATAFILE_KEY) & 0xFF)));
    }
}

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

void PendingFile::PutInPlace() {
    // The daemon may run as another user than the one who builds its files.
    if (fchmod(m_fd, 0644) != 0 || fsync(m_fd) != 0) Fail("cannot finish", m_pendingPath);
    if (rename(m_pendingPath.c_str(), m_path.c_str()) != 0) Fail("cannot replace", m_path);
    m_pendingPath.clear();
}

void PendingFile::Fail(const char* szWhat, const std::string& path) const {
    throw CtlError(std::string(szWhat) + " " + Printable(path) + ": " + std::strerror(errno));
}

}  // namespace
