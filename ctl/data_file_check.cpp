#include "ctl/data_file_check.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "ctl/module_check.h"
#include "ctl/output.h"
#include "modules/asapsdk/check_sum.h"
#include "policy/data_file.h"

namespace {

class OpenedFile {
  public:
    explicit OpenedFile(const std::string& path);
    ~OpenedFile() { close(m_fd); }
    OpenedFile(const OpenedFile&) = delete;
    OpenedFile& operator=(const OpenedFile&) = delete;
    int Descriptor() const { return m_fd; }

    // The bytes from nOffset on, fewer where the file ends.
    Records Read(uint64_t nOffset, size_t nLength) const;
    uint64_t Size() const;

  private:
    int m_fd;
};

int ReadWithDaemonReader(const std::string& path, const tagDataFileKind& kind, Records& records);
int ReadCategoryStatusRecord(const OpenedFile& file, const tagDataFileKind& kind, Records& records);
std::vector<std::string> Diagnose(const OpenedFile& file, const tagDataFileKind& kind);
void DiagnoseHeader(const OpenedFile& file, std::vector<std::string>& problems);
void DiagnoseBody(const OpenedFile& file, const tagDataFileKind& kind, std::vector<std::string>& problems);
std::string Hex(uint32_t n);

// Takes a table's block over into `records` and empties the table.
template <class Table, class Record>
void TakeRecords(Table& table, const Record* pRecords, void (*FreeTable)(Table&), Records& records) {
    const auto* pBytes = reinterpret_cast<const uint8_t*>(pRecords);
    if (table.nCount != 0) records.assign(pBytes, pBytes + size_t{table.nCount} * sizeof(Record));
    FreeTable(table);
}

}  // namespace

tagDataFileContent ReadDataFile(const std::string& path, const tagDataFileKind& kind) {
    RequireLibrary(CHECKSUM_LIBRARY);
    const OpenedFile file(path);
    Records records;
    const int nCode = kind.kind == DataFileKind::CategoryStatus
                          ? ReadCategoryStatusRecord(file, kind, records)
                          : ReadWithDaemonReader(path, kind, records);
    if (nCode == 0) return {records, {}};
    tagDataFileContent content{{}, Diagnose(file, kind)};
    if (content.problems.empty()) {
        content.problems.push_back("the reader gives up with code " + std::to_string(nCode));
    }
    return content;
}

namespace {

int ReadWithDaemonReader(const std::string& path, const tagDataFileKind& kind, Records& records) {
    int nCode = 0;
    if (kind.kind == DataFileKind::Ranges) {
        tagAddrRangeTable table{};
        nCode = ReadAddrRangeFile(path.c_str(), &table);
        TakeRecords(table, table.pRanges, FreeAddrRangeTable, records);
    } else if (kind.kind == DataFileKind::Ports) {
        tagPortTable table{};
        nCode = ReadPortFile(path.c_str(), &table);
        TakeRecords(table, table.pRecords, FreePortTable, records);
    } else {
        tagPatternTable table{};
        nCode = ReadPatternFile(path.c_str(), &table);
        TakeRecords(table, table.pPatterns, FreePatternTable, records);
    }
    return nCode;
}

int ReadCategoryStatusRecord(const OpenedFile& file, const tagDataFileKind& kind, Records& records) {
    if (const int nCode = CheckDataFileHeader(file.Descriptor())) return nCode;
    records = file.Read(DATAFILE_BODY_OFFSET, kind.nRecordBytes);
    DecryptBuffer(records.data(), records.data(), static_cast<uint32_t>(records.size()), DATAFILE_KEY);
    return records.size() == kind.nRecordBytes ? 0 : EIO;
}

std::vector<std::string> Diagnose(const OpenedFile& file, const tagDataFileKind& kind) {
    std::vector<std::string> problems;
    const uint64_t nSize = file.Size();
    if (nSize < DATAFILE_BODY_OFFSET) {
        return {"it is cut: " + Counted(nSize, "byte") + ", the header alone has " +
                std::to_string(DATAFILE_BODY_OFFSET)};
    }
    DiagnoseHeader(file, problems);
    DiagnoseBody(file, kind, problems);
    return problems;
}

void DiagnoseHeader(const OpenedFile& file, std::vector<std::string>& problems) {
    tagDataFileHeader header{};
    const Records bytes = file.Read(0, sizeof header);
    std::memcpy(&header, bytes.data(), bytes.size());
    if (std::memcmp(header.szMagic, DATAFILE_MAGIC, sizeof header.szMagic) != 0) {
        problems.push_back("the magic word is " + Quoted({header.szMagic, sizeof header.szMagic}) +
                           ", not '" + DATAFILE_MAGIC + "'");
    }
    const std::string copyright(header.szCopyright, strnlen(header.szCopyright, sizeof header.szCopyright));
    if (strcasecmp(copyright.c_str(), DATAFILE_COPYRIGHT) != 0) {
        problems.push_back("the copyright text is " + Quoted(copyright));
    }
    uint32_t nChecksum = 0;
    if (!CalculateCheckSum(file.Descriptor(), &nChecksum)) {
        problems.push_back("its checksum cannot be computed");
    } else if (nChecksum != header.nChecksum) {
        problems.push_back("the checksum is " + Hex(nChecksum) + ", the header says " +
                           Hex(header.nChecksum));
    }
}

void DiagnoseBody(const OpenedFile& file, const tagDataFileKind& kind, std::vector<std::string>& problems) {
    uint32_t nCount = kind.nCountBytes == 0 ? 1 : 0;
    const Records count = file.Read(DATAFILE_BODY_OFFSET, kind.nCountBytes);
    if (count.size() < kind.nCountBytes) {
        problems.push_back("it is cut in its count");
        return;
    }
    DecryptBuffer(count.data(), reinterpret_cast<uint8_t*>(&nCount), kind.nCountBytes, DATAFILE_KEY);
    const uint64_t nBody = file.Size() - DATAFILE_BODY_OFFSET - kind.nCountBytes;
    if (nBody >= uint64_t{nCount} * kind.nRecordBytes) return;
    problems.push_back("the count promises " + Counted(nCount, kind.szRecord) + " (" +
                       Counted(uint64_t{nCount} * kind.nRecordBytes, "byte") +
                       "), there: " + Counted(nBody, "byte"));
}

std::string Hex(uint32_t n) {
    char szText[16];
    std::snprintf(szText, sizeof szText, "%08" PRIX32, n);
    return szText;
}

OpenedFile::OpenedFile(const std::string& path)
    : m_fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
    if (m_fd < 0) throw CtlError("cannot open " + Printable(path) + ": " + std::strerror(errno));
    struct stat info;
    if (fstat(m_fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        close(m_fd);
        throw CtlError("refused: " + Quoted(path) + " is not a regular file");
    }
}

Records OpenedFile::Read(uint64_t nOffset, size_t nLength) const {
    Records bytes(nLength);
    const ssize_t n = pread(m_fd, bytes.data(), nLength, static_cast<off_t>(nOffset));
    bytes.resize(n > 0 ? static_cast<size_t>(n) : 0);
    return bytes;
}

uint64_t OpenedFile::Size() const {
    struct stat info {};
    fstat(m_fd, &info);
    return static_cast<uint64_t>(info.st_size);
}

}  // namespace
