#include "ctl/data_file_writer.h"

#include <cstddef>
#include <cstring>
#include <span>

#include "common/copy_text.h"
#include "ctl/module_check.h"
#include "ctl/output.h"
#include "ctl/pending_file.h"
#include "modules/asapsdk/check_sum.h"
#include "policy/data_file.h"

namespace {

Records BuildImage(const tagDataFileKind& kind, const Records& records);
void AppendScrambled(std::span<const uint8_t> plain, Records& image);

}  // namespace

void WriteDataFile(const std::string& path, const tagDataFileKind& kind, const Records& records) {
    RequireLibrary(CHECKSUM_LIBRARY);
    PendingFile file(path);
    file.Write(BuildImage(kind, records), 0);
    uint32_t nChecksum = 0;
    if (!CalculateCheckSum(file.Descriptor(), &nChecksum)) {
        throw CtlError("cannot compute the checksum of " + Printable(path));
    }
    file.Write({reinterpret_cast<const uint8_t*>(&nChecksum), sizeof nChecksum},
               offsetof(tagDataFileHeader, nChecksum));
    // The daemon may run as another user than the one who builds its files.
    file.PutInPlace(0644);
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

}  // namespace
