// Writing a file so that nobody ever sees half of it.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <span>
#include <string>

// A file that is not there yet under its own name; removed again unless it is put in place. Readers of the
// name see the old file or the whole new one. Failures are a CtlError.
class PendingFile {
  public:
    explicit PendingFile(const std::string& path);
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    int Descriptor() const { return m_fd; }
    void Write(std::span<const uint8_t> bytes, off_t nOffset);
    // Gives it its mode and its name, over what had the name before.
    void PutInPlace(mode_t nMode);

  private:
    [[noreturn]] void Fail(const char* szWhat, const std::string& path) const;

    std::string m_path;
    std::string m_pendingPath;
    int m_fd;
};
