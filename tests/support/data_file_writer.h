// Makes protected data files for tests, sound ones and ones that are damaged on purpose afterwards.
#pragma once

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>

#include "modules/asapsdk/check_sum.h"
#include "policy/data_file.h"
#include "tests/support/memory_file.h"

// The producer's side of DecryptBuffer.
inline std::string ScrambleBody(std::string_view plain) {
    std::string scrambled;
    for (const char c : plain) {
        scrambled += static_cast<char>((DATAFILE_KEY & 31) ^ ((c + DATAFILE_KEY * DATAFILE_KEY) & 0xFF));
    }
    return scrambled;
}

// Puts the checksum that fits the rest of the file into its header.
inline void SignDataFile(std::string& file) {
    uint32_t nChecksum = 0;
    CalculateCheckSum(MemoryFile(file).Descriptor(), &nChecksum);
    std::memcpy(file.data() + offsetof(tagDataFileHeader, nChecksum), &nChecksum, sizeof nChecksum);
}

// A sound file around a body given before scrambling.
inline std::string MakeDataFile(std::string_view plainBody) {
    tagDataFileHeader header = {};
    std::memcpy(header.szMagic, DATAFILE_MAGIC, sizeof header.szMagic);
    std::memcpy(header.szCopyright, DATAFILE_COPYRIGHT, sizeof DATAFILE_COPYRIGHT);
    std::string file(reinterpret_cast<const char*>(&header), sizeof header);
    file += ScrambleBody(plainBody);
    SignDataFile(file);
    return file;
}

template <class T>
std::string BytesOf(const T& value) {
    return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}

// The body of a pattern file, before scrambling.
inline std::string PatternBody(std::initializer_list<std::string_view> patterns) {
    std::string body = BytesOf(static_cast<uint32_t>(patterns.size()));
    for (const std::string_view pattern : patterns) {
        std::string record(pattern);
        record.resize(PATTERN_BYTES);
        body += record;
    }
    return body;
}
