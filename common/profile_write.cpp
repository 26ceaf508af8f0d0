#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "common/ascii.h"
#include "common/cancellation_off.h"
#include "common/profile.h"
#include "common/profile_line.h"

namespace {

constexpr int COPY_NAME_CHARS = 260;
constexpr char COPY_SUFFIX[] = ".tmp";

struct tagSetting {
    tagProfilePlace place;
    std::string_view value;  // trimmed
};

unsigned int RewriteFile(const char* szFile, const tagSetting& setting);
FILE* OpenCopy(const char* szCopy, FILE* pOriginal);
void CopyWithSetting(FILE* pFrom, FILE* pTo, const tagSetting& setting);
void PutSetting(FILE* pTo, const tagSetting& setting);
void PutText(FILE* pTo, std::string_view text);
void CopyRest(FILE* pFrom, FILE* pTo);

}  // namespace

int WritePrivateProfileString(const char* section, const char* key, const char* value, const char* file,
                              unsigned int* error) {
    if (!section || !key || !value || !file || !error) return -1;
    tagSetting setting;
    *error = MakeProfilePlace(section, key, setting.place);
    if (*error == PROFILE_OK && *value == '\0') *error = PROFILE_EMPTY_VALUE;
    if (*error != PROFILE_OK) return -1;
    setting.value = TrimBlanks(ProfileArgument(value));
    *error = RewriteFile(file, setting);
    return *error == PROFILE_OK ? 0 : -1;
}

namespace {

unsigned int RewriteFile(const char* szFile, const tagSetting& setting) {
    char szCopy[COPY_NAME_CHARS + 1];
    const int nWanted = std::snprintf(szCopy, sizeof(szCopy), "%s%s", szFile, COPY_SUFFIX);
    // A long name cuts the suffix. Once nothing is left of it the "copy" would be another file, or this one.
    if (nWanted >= COPY_NAME_CHARS + static_cast<int>(std::strlen(COPY_SUFFIX))) return PROFILE_NO_FILE;

    const CancellationOff cancellationOff;
    FILE* pFrom = std::fopen(szFile, "re");
    if (!pFrom) return PROFILE_NO_FILE;
    FILE* pTo = OpenCopy(szCopy, pFrom);
    if (!pTo) {
        std::fclose(pFrom);
        return PROFILE_NO_FILE;
    }
    CopyWithSetting(pFrom, pTo, setting);
    bool bWhole = !std::ferror(pFrom) && !std::ferror(pTo);
    std::fclose(pFrom);
    if (std::fclose(pTo) != 0) bWhole = false;
    if (bWhole && std::rename(szCopy, szFile) == 0) return PROFILE_OK;
    (void)unlink(szCopy);
    return PROFILE_NO_FILE;
}

// The copy is never a link: to follow one could truncate the original.
FILE* OpenCopy(const char* szCopy, FILE* pOriginal) {
    struct stat about;
    if (fstat(fileno(pOriginal), &about) != 0) return nullptr;
    const int fd = open(szCopy, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) return nullptr;
    (void)fchmod(fd, about.st_mode & 0777);
    FILE* pCopy = fdopen(fd, "w");
    if (!pCopy) close(fd);
    return pCopy;
}

void CopyWithSetting(FILE* pFrom, FILE* pTo, const tagSetting& setting) {
    bool bInSection = false;
    tagProfileLine line;
    while (ReadProfileLine(pFrom, line)) {
        const std::string_view text = TrimBlanks({line.bytes, line.nBytes});
        const bool bNextSection = bInSection && IsHeaderLine(text);
        if (bNextSection || (bInSection && !IsCommentLine(text) && HasKey(text, setting.place.key))) {
            PutSetting(pTo, setting);
            if (bNextSection) std::fwrite(line.bytes, 1, line.nBytes, pTo);
            CopyRest(pFrom, pTo);
            return;
        }
        PutText(pTo, text);
        std::fputc('\n', pTo);
        if (IsHeaderOf(text, setting.place.section)) bInSection = true;
    }
    if (!bInSection) {
        std::fputc('[', pTo);
        PutText(pTo, setting.place.section);
        std::fputs("]\n", pTo);
    }
    PutSetting(pTo, setting);
}

void PutSetting(FILE* pTo, const tagSetting& setting) {
    PutText(pTo, setting.place.key);
    std::fputc('=', pTo);
    PutText(pTo, setting.value);
    std::fputc('\n', pTo);
}

void PutText(FILE* pTo, std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), pTo);
}

void CopyRest(FILE* pFrom, FILE* pTo) {
    char block[4096];
    size_t nRead;
    while ((nRead = std::fread(block, 1, sizeof(block), pFrom)) > 0)
        std::fwrite(block, 1, nRead, pTo);
}

}  // namespace
