#include "common/profile_line.h"

#include <cstring>

#include "common/ascii.h"
#include "common/narrow_string.h"
#include "common/profile.h"

namespace {

std::string_view TrimEnd(std::string_view text);

}  // namespace

unsigned int MakeProfilePlace(const char* szSection, const char* szKey, tagProfilePlace& place) {
    const std::string_view section = ProfileArgument(szSection);
    const std::string_view key = ProfileArgument(szKey);
    if (section.empty()) return PROFILE_EMPTY_SECTION;
    if (key.empty()) return PROFILE_EMPTY_KEY;
    place = {TrimBlanks(section), TrimBlanks(key)};
    return PROFILE_OK;
}

std::string_view ProfileArgument(const char* szArgument) {
    return {szArgument, strnlen(szArgument, PROFILE_ARGUMENT_BYTES)};
}

bool ReadProfileLine(FILE* pFile, tagProfileLine& line) {
    line.nBytes = 0;
    while (line.nBytes < PROFILE_PIECE_BYTES) {
        const int c = getc_unlocked(pFile);
        if (c == EOF) break;
        line.bytes[line.nBytes++] = static_cast<char>(c);
        if (c == '\n') break;
    }
    line.bytes[line.nBytes] = '\0';
    return line.nBytes != 0;
}

bool IsCommentLine(std::string_view text) {
    return text.starts_with('#') || text.starts_with(';');
}

bool IsHeaderLine(std::string_view text) {
    return text.starts_with('[');
}

std::optional<std::string_view> SectionNameOf(std::string_view text) {
    const size_t nClose = text.find(']');
    if (!IsHeaderLine(text) || nClose == std::string_view::npos) return std::nullopt;
    return TrimBlanks(text.substr(1, nClose - 1));
}

bool IsHeaderOf(std::string_view text, std::string_view section) {
    const auto name = SectionNameOf(text);
    return name && EqualNoCase(*name, section);
}

bool HasKey(std::string_view text, std::string_view key) {
    return EqualNoCase(TrimEnd(text.substr(0, text.find('='))), key);
}

char* Trim(char* text) {
    if (!text) return nullptr;
    TrimRight(text);
    while (IsBlank(*text))
        ++text;
    return text;
}

char* GetSectionName(char* line) {
    if (!line) return nullptr;
    const auto name = SectionNameOf(line);
    if (!name) return nullptr;
    char* szName = line + (name->data() - line);
    szName[name->size()] = '\0';
    return szName;
}

int CompareKey(char* line, const char* key) {
    if (!line || !key) return -1;
    const bool bEqual = HasKey(line, key);
    line[std::strcspn(line, "=")] = '\0';
    return bEqual ? 0 : -1;
}

void WriteToFile(char* line, FILE* stream) {
    if (!line || !stream) return;
    std::strcat(line, "\n");
    std::fputs(line, stream);
}

namespace {

std::string_view TrimEnd(std::string_view text) {
    while (!text.empty() && IsBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

}  // namespace
