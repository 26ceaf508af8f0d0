#include "ctl/import/suffix_tails.h"

#include <libpsl.h>

#include <filesystem>

#include "ctl/read_file.h"

SuffixTails::SuffixTails() {
    const char* szCompiled = psl_dist_filename();
    if (!szCompiled || !*szCompiled) return;
    m_text =
        "\n" + ReadTextFile(std::filesystem::path(szCompiled).replace_extension(".dat")).value_or("") + "\n";
}

// A line is a suffix, "*." and one, or a comment, which ends a sentence rather than a name.
bool SuffixTails::Holds(std::string_view name) const {
    const std::string line = std::string(name) + "\n";
    for (size_t n = m_text.find(line); n != m_text.npos; n = m_text.find(line, n + 1)) {
        const char cBefore = n == 0 ? '\n' : m_text[n - 1];
        const bool bWhole = cBefore == '.' || cBefore == '\n' || cBefore == '!';
        const bool bComment = m_text.compare(m_text.rfind('\n', n) + 1, 2, "//") == 0;
        if (!bWhole && !bComment) return true;
    }
    return false;
}
