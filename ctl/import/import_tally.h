// What became of the lines of an import, for the administrator: nothing that was not taken is left unsaid.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "ctl/output.h"

class ImportTally {
  public:
    // A line that was not taken. szReason completes "the line ..." and lives as long as the program.
    void Reject(const std::string& file, uint64_t nLine, std::string_view text, const char* szReason);
    // A whole file or folder that was not read, and why (completes "since it ..."). The same one twice in a
    // row counts once.
    void LeaveOut(const std::string& what, const char* szReason);
    // A list was read in that format.
    void AddFile(const std::string& file, const char* szFormat);

    uint64_t Rejected() const { return m_nRejected; }

    // The counts by reason, the first lines of them, and what was left out; empty when all was taken.
    std::string Text() const;
    // Adds the same to the document, with the files and their formats.
    void Describe(Json& document) const;

  private:
    struct tagRejection {
        std::string place, text;
        const char* szReason;
    };
    struct tagLeftOut {
        uint64_t nCount = 0;
        std::string last;
        std::vector<std::string> first;
    };

    uint64_t m_nRejected = 0;
    std::map<std::string_view, uint64_t> m_reasons;
    std::vector<tagRejection> m_first;
    std::map<std::string_view, tagLeftOut> m_leftOut;
    std::vector<std::pair<std::string, const char*>> m_files;
    uint64_t m_nFiles = 0;
};
