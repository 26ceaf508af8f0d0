// Whether the libraries and plug-ins behind the daemon's interfaces are there, each with what it has to
// offer.
#pragma once

#include <string>
#include <vector>

// Linked by name; the second makes and checks the checksums of data files.
constexpr char CATEGORY_LIBRARY[] = "libwebcat.so";
constexpr char CHECKSUM_LIBRARY[] = "libasapsdk.so";

struct tagModuleCheck {
    const char* szName;   // its file name, of a plug-in the whole path
    std::string problem;  // in words, with what it means for the daemon; empty for a sound one
};

// Loads all five as the daemon does.
std::vector<tagModuleCheck> CheckModules();

// Why a library that the daemon links by name cannot be loaded; empty when it can.
std::string LibraryProblem(const char* szFile);

// Throws CtlError with that.
void RequireLibrary(const char* szFile);
