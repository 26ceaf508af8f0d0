#include "tests/unit/service/private_machine.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "common/product_paths.h"

namespace {
std::vector<std::string> s_places;

std::string Mount() {
    if (unshare(CLONE_NEWNS) != 0) return "mounts of its own";
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return "private mounts";
    for (const char* szPlace : {"/run", "/mnt"}) {
        if (mount("tmpfs", szPlace, "tmpfs", 0, nullptr) != 0) return std::string("a tmpfs on ") + szPlace;
    }
    std::filesystem::create_directories("/mnt/upper/Morvane/Morvane");
    std::filesystem::create_directory("/mnt/work");
    const char* szLayers = "lowerdir=/usr/lib,upperdir=/mnt/upper,workdir=/mnt/work";
    return mount("overlay", "/usr/lib", "overlay", 0, szLayers) == 0 ? "" : "an overlay on /usr/lib";
}
}  // namespace

// Takes the place of the C library's for the firewall binaries.
extern "C" int access(const char* szPath, int nMode) noexcept {
    const std::string path = szPath;
    if (!path.ends_with("/iptables")) return faccessat(AT_FDCWD, szPath, nMode, 0);
    return std::find(s_places.begin(), s_places.end(), path) != s_places.end() ? 0 : -1;
}

std::string EnterPrivateMachine() {
    static const std::string s_missing = Mount();
    return s_missing.empty() ? "" : "the machine refuses " + s_missing + ": " + std::strerror(errno);
}

void PutFile(const char* szPath, const std::string& content) {
    std::ofstream(szPath, std::ios::binary) << content;
}

void EmptyProductFolder() {
    for (const auto& entry : std::filesystem::directory_iterator(PRODUCT_DIR))
        std::filesystem::remove_all(entry);
}

void SetIptablesPlaces(std::vector<std::string> places) {
    s_places = std::move(places);
}
