// What the service finds on the machine, as a test wants it: a product folder of this process alone, and
// firewall binaries at chosen places.
#pragma once

#include <string>
#include <vector>

#include "service/inet_options.h"
#include "tests/support/data_file_writer.h"

// Gives the process mounts of its own, with a writable product folder. Why that cannot be, empty once it is
// done.
std::string EnterPrivateMachine();

// A file of the product folder, by its full path; empties the folder.
void PutFile(const char* szPath, const std::string& content);
void EmptyProductFolder();

// The only firewall binaries there are, as far as access() in this program says.
void SetIptablesPlaces(std::vector<std::string> places);

// The bytes of internet options with that port, in use when told so by 1.
inline std::string Inet(uint16_t nPort, uint16_t bUsePort = 1) {
    tagInetSettings settings{};
    settings.bUsePort = bUsePort;
    settings.nPort = nPort;
    return BytesOf(settings);
}
