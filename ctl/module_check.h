// Whether the libraries and plug-ins behind the daemon's interfaces are there, each with what it has to
// offer.
#pragma once

#include <string>
#include <vector>

struct tagModuleCheck {
    const char* szName;   // its file name, of a plug-in the whole path
    std::string problem;  // in words, with what it means for the daemon; empty for a sound one
};

// Loads all five as the daemon does.
std::vector<tagModuleCheck> CheckModules();
