// The five kinds of protected data files, as websecctl names them. The layout itself is policy/data_file.h.
//
// All kinds are handled as a run of records, plain (descrambled), each of a fixed number of bytes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

enum class DataFileKind { Exclusion, Trusted, Ranges, Ports, CategoryStatus };

struct tagDataFileKind {
    DataFileKind kind;
    const char* szName;      // on the command line
    const char* szFileName;  // in the product directory
    const char* szRecord;    // what one of its records is called
    uint32_t nCountBytes;    // size of the count in front of the records; 0: exactly one record, no count
    uint32_t nRecordBytes;
};

using Records = std::vector<uint8_t>;

// All of them, in the order in which they are shown.
const std::vector<tagDataFileKind>& DataFileKinds();

// By the name of the kind. Throws CtlError for a name that is none.
const tagDataFileKind& FindDataFileKind(std::string_view name);

// By `name` if it is not empty, else by the last part of the path. Throws CtlError when neither fits.
const tagDataFileKind& RecogniseDataFileKind(const std::string& path, std::string_view name);

inline size_t CountRecords(const tagDataFileKind& kind, const Records& records) {
    return records.size() / kind.nRecordBytes;
}
