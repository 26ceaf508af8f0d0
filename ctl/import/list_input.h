// A file as the administrator has it, opened: plain, compressed (gzip, bzip2), or an archive (tar, zip). Its
// content is streamed; nothing is written to disk, and what expands beyond all reason is refused.
#pragma once

#include <cstdint>
#include <span>
#include <string>

struct archive;
struct archive_entry;

class ListInput {
  public:
    // Throws CtlError that names the file when it cannot be opened or is none that can be read.
    explicit ListInput(const std::string& path);
    ~ListInput();
    ListInput(const ListInput&) = delete;
    ListInput& operator=(const ListInput&) = delete;

    // Goes to the next member of an archive, or to the one content of another file. False behind the last.
    bool Next();
    // Whether there are members with names.
    bool IsArchive() const;
    // Of the present member; empty without an archive.
    const std::string& MemberName() const { return m_member; }
    // Directories, links and devices are none.
    bool IsRegularFile() const;

    // Bytes of the present member; fewer than asked for only at its end.
    size_t Read(std::span<char> bytes);

    // Bytes of the file that were read, and its size, 0 when it is not known.
    uint64_t BytesRead() const;
    uint64_t Size() const { return m_nSize; }

  private:
    void RefuseBomb() const;
    [[noreturn]] void Fail(const char* szWhy) const;
    static long ReadCallback(archive*, void* pInput, const void** ppBytes);
    static int64_t SeekCallback(archive*, void* pInput, int64_t nOffset, int nWhence);

    std::string m_path;
    std::string m_member;
    int m_fd;
    uint64_t m_nSize = 0;
    uint64_t m_nExpanded = 0;
    archive* m_pArchive;
    archive_entry* m_pEntry = nullptr;
    char m_buffer[65536];
};
