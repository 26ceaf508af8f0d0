// How far a long import is: one line on standard error, when that is a terminal, that is gone in the end.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

class ImportProgress {
  public:
    ImportProgress();
    ~ImportProgress();
    ImportProgress(const ImportProgress&) = delete;
    ImportProgress& operator=(const ImportProgress&) = delete;

    // nRead bytes of nTotal are read, which hold so many lines; 0: the total is not known. Cheap enough for
    // every block that is read.
    void Show(const std::string& file, uint64_t nLines, uint64_t nRead, uint64_t nTotal);
    // What is done now.
    void Show(const std::string& what);

  private:
    bool m_bTerminal;
    bool m_bShown = false;
    std::chrono::steady_clock::time_point m_next;
};
