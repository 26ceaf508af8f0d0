#include "ctl/read_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

std::optional<std::string> ReadTextFile(const std::string& path) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return std::nullopt;
    auto text = ReadDescriptor(fd);
    const int nError = errno;
    close(fd);
    errno = nError;
    return text;
}

std::optional<std::string> ReadDescriptor(int fd) {
    std::string text;
    char szPiece[16384];
    ssize_t n = 0;
    while ((n = read(fd, szPiece, sizeof szPiece)) != 0) {
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return std::nullopt;
        text.append(szPiece, static_cast<size_t>(n));
    }
    return text;
}
