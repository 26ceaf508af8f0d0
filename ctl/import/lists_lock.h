// One change of the lists at a time, and a note of what was under way for when its process is killed.
#pragma once

#include <string>
#include <vector>

class ListsLock {
  public:
    // Makes the folders, waits for other changes (and says so), and removes what a killed one left half
    // written. Throws CtlError.
    ListsLock();
    ~ListsLock();
    ListsLock(const ListsLock&) = delete;
    ListsLock& operator=(const ListsLock&) = delete;

    // The lines that an earlier change noted and did not clear: it was killed.
    std::vector<std::string> Unfinished() const;
    // Notes a change that begins; on disk when it returns.
    void Note(const std::vector<std::string>& lines);
    void ClearNote();

  private:
    int m_fd;
};
