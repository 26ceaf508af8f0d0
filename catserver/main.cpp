// websec-catserver - tells websec on this host which categories a site belongs to, from the imported lists.
// Exit status 0 after SIGTERM; 1 when it cannot serve; 2 when the command line itself is wrong.
#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "category/category_server_protocol.h"
#include "catserver/category_lists.h"
#include "catserver/category_server.h"
#include "catserver/listen_socket.h"
#include "common/copy_text.h"

namespace {

enum : int { EXIT_CANNOT_SERVE = 1, EXIT_USAGE = 2 };

struct tagOptions {
    std::string szAddress = CATSERVER_HOST;
    uint16_t nPort = CATSERVER_PORT;
    std::string szLists;
};

void AddOptions(CLI::App& app, tagOptions& options);
int Run(const tagOptions& options);
void FillStandardDescriptors();
int ListenAsTold(const tagOptions& options);
bool FindLists(const tagOptions& options, tagCategoryLists& lists);

}  // namespace

int main(int argc, char** argv) {
    FillStandardDescriptors();
    tagOptions options;
    try {
        CLI::App app("Tells websec on this host which categories a site belongs to.", "websec-catserver");
        AddOptions(app, options);
        try {
            app.parse(argc, argv);
        } catch (const CLI::ParseError& error) {
            return app.exit(error) == 0 ? 0 : EXIT_USAGE;
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "websec-catserver: %s\n", error.what());
        return EXIT_CANNOT_SERVE;
    }
    return Run(options);
}

namespace {

void AddOptions(CLI::App& app, tagOptions& options) {
    app.set_version_flag("--version", "websec-catserver " WEBSEC_VERSION);
    app.add_option("--address", options.szAddress, "IPv4 address to listen on")->capture_default_str();
    app.add_option("--port", options.nPort, "TCP port to listen on")->capture_default_str();
    app.add_option("--lists", options.szLists,
                   std::string("Folder of the imported lists [") + LISTS_DIR + "]");
    app.footer(
        "Runs until SIGTERM; SIGHUP reads the lists afresh. A socket that the service manager hands over is\n"
        "served instead of the address and port.");
}

int Run(const tagOptions& options) {
    tagCategoryLists lists = {};
    if (!FindLists(options, lists)) {
        std::fprintf(stderr, "websec-catserver: the lists' folder has too long a name\n");
        return EXIT_CANNOT_SERVE;
    }
    const int nSocket = ListenAsTold(options);
    if (nSocket < 0) return EXIT_CANNOT_SERVE;
    const int nError = RunCategoryServer(nSocket, lists);
    CloseURLMap(&lists.map);
    close(nSocket);
    if (nError == 0) return 0;
    std::fprintf(stderr, "websec-catserver: cannot serve: %s\n", std::strerror(nError));
    return EXIT_CANNOT_SERVE;
}

// No connection may get the number of a standard descriptor: a message would go to its peer.
void FillStandardDescriptors() {
    int fd = 0;
    while (fd >= 0 && fd <= STDERR_FILENO)
        fd = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (fd > STDERR_FILENO) close(fd);
}

// The socket, or -1 after a message.
int ListenAsTold(const tagOptions& options) {
    const int nHandedOver = TakeListenSocket();
    if (nHandedOver >= 0) return nHandedOver;
    if (nHandedOver == -2) {
        std::fprintf(stderr,
                     "websec-catserver: what the service manager handed over is not one listening socket\n");
        return -1;
    }
    const int nSocket = OpenListenSocket(options.szAddress.c_str(), options.nPort);
    if (nSocket < 0) {
        std::fprintf(stderr, "websec-catserver: cannot listen on %s port %u: %s\n", options.szAddress.c_str(),
                     static_cast<unsigned>(options.nPort), std::strerror(errno));
    }
    return nSocket;
}

bool FindLists(const tagOptions& options, tagCategoryLists& lists) {
    if (options.szLists.empty()) {
        ListFilePath(lists.szPath, CATEGORY_LIST);
        return lists.szPath[0] != '\0';
    }
    return CopyText(lists.szPath, options.szLists + '/' + CATEGORY_LIST) == 0;
}

}  // namespace
