#include "ctl/import/category_folder.h"

#include <algorithm>
#include <filesystem>

#include "ctl/import/import_tally.h"
#include "ctl/output.h"

namespace {

namespace fs = std::filesystem;

std::string_view WithoutSlashes(std::string_view path);
void CollectFiles(const fs::path& folder, int nDepth, std::vector<std::string>& files, ImportTally& tally);
std::vector<fs::path> SortedContent(const fs::path& folder);

}  // namespace

std::string BaseName(std::string_view path) {
    path = WithoutSlashes(path);
    return std::string(path.substr(path.rfind('/') + 1));
}

bool IsCategoryFile(std::string_view path) {
    const std::string name = BaseName(path);
    return name == "domains" || name == "urls";
}

std::string FolderOf(std::string_view path) {
    const size_t nSlash = WithoutSlashes(path).rfind('/');
    const std::string name = nSlash == path.npos ? "" : BaseName(path.substr(0, nSlash));
    return name == "." || name == ".." ? "" : name;
}

std::vector<std::string> ListCategoryFiles(const std::string& folder, ImportTally& tally) {
    std::vector<std::string> files;
    try {
        CollectFiles(folder, 0, files, tally);
    } catch (const fs::filesystem_error& error) {
        throw CtlError("cannot read " + Quoted(error.path1().string()) + ": " + error.code().message());
    }
    if (files.empty()) {
        throw CtlError(
            "the folder " + Quoted(folder) +
            " is no collection of categories: it has no file 'domains' or 'urls', and no folder with "
            "one; name the files themselves");
    }
    return files;
}

namespace {

std::string_view WithoutSlashes(std::string_view path) {
    while (path.size() > 1 && path.ends_with('/'))
        path.remove_suffix(1);
    return path;
}

// Links are left out: collections keep old names of categories as links to the present ones.
void CollectFiles(const fs::path& folder, int nDepth, std::vector<std::string>& files, ImportTally& tally) {
    for (const fs::path& path : SortedContent(folder)) {
        if (fs::is_symlink(path)) {
            tally.LeaveOut(path, "is a link");
        } else if (fs::is_directory(path) && nDepth == 0) {
            CollectFiles(path, nDepth + 1, files, tally);
        } else if (fs::is_regular_file(path) && IsCategoryFile(path.string())) {
            files.push_back(path);
        } else {
            tally.LeaveOut(path, "is no list of names");
        }
    }
}

std::vector<fs::path> SortedContent(const fs::path& folder) {
    std::vector<fs::path> content;
    for (const auto& entry : fs::directory_iterator(folder))
        content.push_back(entry.path());
    std::sort(content.begin(), content.end());
    return content;
}

}  // namespace
