#include "ctl/data_file_kind.h"

#include "ctl/output.h"
#include "policy/data_file.h"

namespace {

constexpr uint32_t CATEGORY_STATUS_BYTES = 6;

}  // namespace

const std::vector<tagDataFileKind>& DataFileKinds() {
    static const std::vector<tagDataFileKind> kinds = {
        {DataFileKind::Exclusion, "exclusion", "pcintwl.dat", "pattern", 4, PATTERN_BYTES},
        {DataFileKind::Trusted, "trusted", "bpintwl.dat", "pattern", 4, PATTERN_BYTES},
        {DataFileKind::Ranges, "ranges", "wsintip.dat", "range", 2, sizeof(tagAddrRange)},
        {DataFileKind::Ports, "ports", "wswebflt.dat", "port", 2, sizeof(tagPortRecord)},
        {DataFileKind::CategoryStatus, "category-status", "wscatsts.dat", "value", 0, CATEGORY_STATUS_BYTES},
    };
    return kinds;
}

const tagDataFileKind& FindDataFileKind(std::string_view name) {
    for (const auto& kind : DataFileKinds()) {
        if (name == kind.szName) return kind;
    }
    throw CtlError("refused: " + Quoted(name) + " is no kind of data file");
}

const tagDataFileKind& RecogniseDataFileKind(const std::string& path, std::string_view name) {
    if (!name.empty()) return FindDataFileKind(name);
    const std::string fileName = path.substr(path.rfind('/') + 1);
    for (const auto& kind : DataFileKinds()) {
        if (fileName == kind.szFileName) return kind;
    }
    throw CtlError("refused: " + Quoted(fileName) + " is not the name of a data file; say --kind");
}
