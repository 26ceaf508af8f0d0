#include <cstdio>
#include <string_view>

#include "service/startup.h"

int main(int argc, char** argv) {
    if (argc == 2 && std::string_view(argv[1]) == "--help") {
        std::puts(
            "usage: websec\n\nProtects web browsing on this host, in the background; see websecctl --help");
        return 0;
    }
    return RunService();
}
