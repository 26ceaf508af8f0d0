#include "ctl/import/import_progress.h"

#include <unistd.h>

#include <iostream>

#include "ctl/output.h"

namespace {

constexpr auto FIRST_AFTER = std::chrono::milliseconds(300);  // short imports show nothing
constexpr auto PERIOD = std::chrono::milliseconds(200);
constexpr char CLEAR_LINE[] = "\r\x1b[K";

}  // namespace

ImportProgress::ImportProgress()
    : m_bTerminal(isatty(STDERR_FILENO) == 1), m_next(std::chrono::steady_clock::now() + FIRST_AFTER) {}

ImportProgress::~ImportProgress() {
    if (m_bShown) std::cerr << CLEAR_LINE << std::flush;
}

void ImportProgress::Show(const std::string& file, uint64_t nLines, uint64_t nRead, uint64_t nTotal) {
    if (!m_bTerminal || std::chrono::steady_clock::now() < m_next) return;
    std::string text = Quoted(file) + ": " + Counted(nLines, "line");
    if (nTotal != 0) {
        text += ", " + std::to_string(nRead * 100 / nTotal) + " %";
    } else {
        text += ", " + std::to_string(nRead >> 10) + " KiB";
    }
    Show(text);
}

void ImportProgress::Show(const std::string& what) {
    const auto now = std::chrono::steady_clock::now();
    if (!m_bTerminal || now < m_next) return;
    m_next = now + PERIOD;
    m_bShown = true;
    std::cerr << CLEAR_LINE << what << std::flush;
}
