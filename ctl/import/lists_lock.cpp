#include "ctl/import/lists_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "ctl/import/interruption.h"
#include "ctl/import/list_kind.h"
#include "ctl/output.h"
#include "ctl/read_file.h"

namespace {

void MakeFolders();
void AwaitTurn(int fd);
void RemoveHalfWritten(const std::string& folder);
bool IsHalfWritten(std::string_view name);
[[noreturn]] void Fail(const std::string& what);

}  // namespace

ListsLock::ListsLock() {
    MakeFolders();
    const std::string path = ListsFolder() + "/.lock";
    m_fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (m_fd < 0) Fail("cannot open " + path);
    try {
        AwaitTurn(m_fd);
        RemoveHalfWritten(ListsFolder());
        RemoveHalfWritten(SourcesFolder());
    } catch (...) {
        close(m_fd);
        throw;
    }
}

ListsLock::~ListsLock() {
    close(m_fd);
}

std::vector<std::string> ListsLock::Unfinished() const {
    std::vector<std::string> lines;
    if (lseek(m_fd, 0, SEEK_SET) != 0) return lines;
    std::string text = ReadDescriptor(m_fd).value_or("");
    while (!text.empty()) {
        const size_t nEnd = text.find('\n');
        if (nEnd == text.npos) break;  // the note itself was cut short: nothing had begun
        lines.push_back(text.substr(0, nEnd));
        text.erase(0, nEnd + 1);
    }
    return lines;
}

void ListsLock::Note(const std::vector<std::string>& lines) {
    std::string text;
    for (const auto& line : lines)
        text += line + "\n";
    const bool bWritten = ftruncate(m_fd, 0) == 0 &&
                          pwrite(m_fd, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()) &&
                          fsync(m_fd) == 0;
    if (!bWritten) Fail("cannot write in " + ListsFolder());
}

// A note that stays makes the next change do nothing worse than work that was done.
void ListsLock::ClearNote() {
    (void)!ftruncate(m_fd, 0);
}

namespace {

void MakeFolders() {
    std::error_code error;
    std::filesystem::create_directories(SourcesFolder(), error);
    if (error)
        throw CtlError("cannot make the folder " + Printable(SourcesFolder()) + ": " + error.message());
}

// In short steps: a signal that comes just before a wait must end it, too.
void AwaitTurn(int fd) {
    constexpr useconds_t STEP_US = 50'000;
    bool bTold = false;
    while (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) Fail("cannot lock " + ListsFolder());
        if (!bTold) PrintWarning("another change of the lists is at work; waiting for it");
        bTold = true;
        usleep(STEP_US);
        LeaveWhenInterrupted();
    }
}

// Nothing else: an administrator may keep copies beside the lists.
void RemoveHalfWritten(const std::string& folder) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        if (IsHalfWritten(entry.path().filename().string())) std::filesystem::remove(entry.path(), error);
    }
}

// "phishing.map.new", and as the writer of maps calls what it writes: such a name, a list's or a source's
// with
// ".tmp-XXXXXX" behind it.
bool IsHalfWritten(std::string_view name) {
    const auto isPending = [&name](const tagListKind& kind) { return name == kind.szFile + PENDING_ENDING; };
    if (std::ranges::any_of(LIST_KINDS, isPending)) return true;
    constexpr size_t ENDING_BYTES = sizeof ".tmp-XXXXXX" - 1;
    const size_t nEnding = name.rfind(".tmp-");
    if (nEnding == name.npos || name.size() - nEnding != ENDING_BYTES) return false;
    name = name.substr(0, nEnding);
    return SourceNumber(name) || std::ranges::any_of(LIST_KINDS, [&](const tagListKind& kind) {
               return name == kind.szFile || isPending(kind);
           });
}

void Fail(const std::string& what) {
    throw CtlError(Printable(what) + ": " + std::strerror(errno));
}

}  // namespace
