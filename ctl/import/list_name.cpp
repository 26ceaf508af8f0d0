#include "ctl/import/list_name.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string_view>

#include "ctl/import/category_folder.h"
#include "ctl/output.h"
#include "modules/store/store_text.h"

namespace {

constexpr size_t NAME_BYTES_MAX = 100;

std::string NameAfterFile(const std::string& file);

}  // namespace

std::string ListNameArgument(const std::string& given, const std::string& firstFile) {
    const std::string name = given.empty() ? NameAfterFile(firstFile) : given;
    if (name.empty() || name.size() > NAME_BYTES_MAX || !IsPlainText(name)) {
        throw CtlError("refused: " + Quoted(name) +
                       " can be no list's name (1 to 100 bytes of text); give one with --name");
    }
    return name;
}

void RefuseUnreadable(const std::vector<std::string>& files) {
    for (const auto& file : files) {
        if (access(file.c_str(), R_OK) != 0) {
            throw CtlError("cannot read " + Quoted(file) + ": " + std::strerror(errno));
        }
    }
}

namespace {

std::string NameAfterFile(const std::string& file) {
    const std::string path = std::filesystem::absolute(file).lexically_normal();
    if (IsCategoryFile(path) && !FolderOf(path).empty()) return FolderOf(path);
    std::string name = BaseName(path);
    constexpr std::array<std::string_view, 10> ENDINGS = {".gz",  ".bz2", ".tgz",   ".tar",  ".zip",
                                                          ".txt", ".csv", ".hosts", ".list", ".dat"};
    for (bool bCut = true; bCut;) {
        bCut = false;
        for (const auto ending : ENDINGS) {
            if (name.size() <= ending.size() || !name.ends_with(ending)) continue;
            name.resize(name.size() - ending.size());
            bCut = true;
        }
    }
    return name;
}

}  // namespace
