#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "common/ascii.h"
#include "common/cancellation_off.h"
#include "common/profile.h"
#include "common/profile_line.h"

namespace {

unsigned int FindValue(const char* szFile, const char* szSection, const char* szKey, tagProfileLine& line,
                       std::string_view& value);
FILE* OpenProfile(const char* szFile);
unsigned int SearchProfile(FILE* pFile, const tagProfilePlace& place, tagProfileLine& line,
                           std::string_view& value);
void CopyCut(char* szTo, size_t nSize, std::string_view from);

}  // namespace

int GetPrivateProfileInt(const char* section, const char* key, int defaultValue, const char* file,
                         unsigned int* error) {
    if (!section || !key || !file || !error) return -1;
    tagProfileLine line;
    std::string_view value;
    *error = FindValue(file, section, key, line, value);
    if (*error == PROFILE_OK && value.empty()) *error = PROFILE_NO_VALUE;
    if (*error != PROFILE_OK) return defaultValue;
    // Behind the value comes white space or the NUL that ends the piece.
    return static_cast<int>(std::strtol(value.data(), nullptr, 10));
}

int GetPrivateProfileString(const char* section, const char* key, const char* defaultValue, char* out,
                            unsigned int size, const char* file, unsigned int* error) {
    if (!section || !key || !defaultValue || !out || !file || !error) return -1;
    tagProfileLine line;
    std::string_view value;
    *error = FindValue(file, section, key, line, value);
    CopyCut(out, size, *error == PROFILE_OK ? value : std::string_view(defaultValue));
    return *error == PROFILE_OK ? 0 : -1;
}

namespace {

// On success `value` is the trimmed value, which lies in `line`.
unsigned int FindValue(const char* szFile, const char* szSection, const char* szKey, tagProfileLine& line,
                       std::string_view& value) {
    tagProfilePlace place;
    const unsigned int nCode = MakeProfilePlace(szSection, szKey, place);
    if (nCode != PROFILE_OK) return nCode;
    const CancellationOff cancellationOff;
    FILE* pFile = OpenProfile(szFile);
    if (!pFile) return PROFILE_NO_FILE;
    const unsigned int nResult = SearchProfile(pFile, place, line, value);
    std::fclose(pFile);
    return nResult;
}

// A pipe in the file's place must not hold the reader up.
FILE* OpenProfile(const char* szFile) {
    const int fd = open(szFile, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return nullptr;
    FILE* pFile = fdopen(fd, "r");
    if (!pFile) close(fd);
    return pFile;
}

unsigned int SearchProfile(FILE* pFile, const tagProfilePlace& place, tagProfileLine& line,
                           std::string_view& value) {
    std::string_view text;
    do {
        if (!ReadProfileLine(pFile, line)) return PROFILE_NO_SECTION;
        text = TrimBlanks({line.bytes, line.nBytes});
    } while (!IsHeaderOf(text, place.section));
    while (ReadProfileLine(pFile, line)) {
        text = TrimBlanks({line.bytes, line.nBytes});
        if (IsCommentLine(text)) continue;
        if (IsHeaderLine(text)) return PROFILE_NO_KEY;
        if (!HasKey(text, place.key)) continue;
        const size_t nEqual = text.find('=');
        if (nEqual == std::string_view::npos) return PROFILE_NO_VALUE;
        value = TrimBlanks(text.substr(nEqual + 1));
        return PROFILE_OK;
    }
    return PROFILE_NO_KEY;
}

void CopyCut(char* szTo, size_t nSize, std::string_view from) {
    if (nSize == 0) return;
    const size_t nCopied = std::min(from.size(), nSize - 1);
    std::memmove(szTo, from.data(), nCopied);  // the default may stand in szTo already
    szTo[nCopied] = '\0';
}

}  // namespace
