// A file without a name in any folder: for operations that take a path or a descriptor. It is gone with the
// object.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <string_view>

class MemoryFile {
  public:
    explicit MemoryFile(std::string_view content) : m_fd(memfd_create("test", MFD_CLOEXEC)) {
        Append(content);
    }
    ~MemoryFile() { close(m_fd); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    int Descriptor() const { return m_fd; }
    std::string Path() const { return "/proc/self/fd/" + std::to_string(m_fd); }

  private:
    void Append(std::string_view content) {
        while (!content.empty()) {
            const ssize_t nWritten = write(m_fd, content.data(), content.size());
            if (nWritten <= 0) return;
            content.remove_prefix(static_cast<size_t>(nWritten));
        }
    }

    int m_fd;
};
