#include "common/paths.h"

#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "common/files.h"
#include "common/product_paths.h"

namespace {

constexpr size_t MAX_EXTENSION = 10;
constexpr size_t MODULE_PATH_BYTES = 260;

// With one of the ten thousand names left, this many draws miss it once in e^100.
constexpr int MAX_DRAWS = 1000000;

bool ReadFolderOfLink(const char* szLink, char* szFolder, size_t nSize);

}  // namespace

int GetKvPath(char* out) {
    struct stat about;
    if (!out || stat(PRODUCT_DIR, &about) != 0 || !S_ISDIR(about.st_mode)) return 0;
    std::memcpy(out, PRODUCT_DIR, sizeof(PRODUCT_DIR));
    return 1;
}

int GetAppPath(char* buffer, int size) {
    if (!buffer || size < 2) return 0;
    return ReadFolderOfLink("/proc/self/exe", buffer, static_cast<size_t>(size)) ? 1 : 0;
}

int GetModulePath(char* out) {
    char szLink[32];
    snprintf(szLink, sizeof(szLink), "/proc/%d/exe", getpid());
    return out && ReadFolderOfLink(szLink, out, MODULE_PATH_BYTES) ? 1 : 0;
}

int GetUniqueFileName(const char* dir, const char* prefix, const char* ext, char* out) {
    if (!dir || !prefix || !out) return 0;
    if (!ext || std::strlen(ext) > MAX_EXTENSION) ext = "tmp";
    const size_t nDir = std::strlen(dir);
    const char* szSlash = nDir != 0 && dir[nDir - 1] == '/' ? "" : "/";
    for (int i = 0; i < MAX_DRAWS; ++i) {
        const int nFirst = rand() % 100;
        const int nSecond = rand() % 100;
        sprintf(out, "%s%02d%02d.%s", prefix, nFirst, nSecond, ext);
        char szPath[PATH_MAX];
        const int nPath = snprintf(szPath, sizeof(szPath), "%s%s%s", dir, szSlash, out);
        // A path too long for the system names no file.
        if (nPath >= static_cast<int>(sizeof(szPath)) || !IsValidPath(szPath)) return 1;
    }
    return 0;
}

int GetPid(char*, int*) {
    return 0;
}

namespace {

// Writes only when the link can be read and a "/" is in it.
bool ReadFolderOfLink(const char* szLink, char* szFolder, size_t nSize) {
    char szTarget[PATH_MAX];
    const ssize_t nTarget = readlink(szLink, szTarget, nSize - 1 < PATH_MAX ? nSize - 1 : PATH_MAX);
    if (nTarget <= 0) return false;
    const void* pSlash = memrchr(szTarget, '/', static_cast<size_t>(nTarget));
    if (!pSlash) return false;
    const size_t nFolder = static_cast<size_t>(static_cast<const char*>(pSlash) - szTarget) + 1;
    std::memcpy(szFolder, szTarget, nFolder);
    szFolder[nFolder] = '\0';
    return true;
}

}  // namespace
