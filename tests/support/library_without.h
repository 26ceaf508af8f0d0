// Copies of libraries that lack something, for whoever loads them.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "tests/unit/common/temp_folder.h"

// Puts a copy in which the loader does not find that symbol into the folder. Its path.
inline std::string PutLibraryWithout(const TempFolder& folder, const char* szLibrary,
                                     const std::string& symbol) {
    std::ifstream file(szLibrary, std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(file), {}};
    EXPECT_NE(bytes.find(symbol), bytes.npos) << szLibrary;
    const std::string name = symbol + '\0';
    for (size_t n = 0; (n = bytes.find(name, n)) != bytes.npos;)
        bytes[n] = '?';
    return folder.Put("without_" + symbol + ".so", bytes);
}

inline bool IsLibraryOpen(const std::string& path) {
    void* pLibrary = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (pLibrary) dlclose(pLibrary);
    return pLibrary != nullptr;
}
