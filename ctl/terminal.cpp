#include "ctl/terminal.h"

#include <langinfo.h>
#include <locale.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

size_t TerminalWidth();
bool IsLocaleUtf8();

}  // namespace

tagTerminal DescribeTerminal() {
    return {TerminalWidth(), IsLocaleUtf8()};
}

namespace {

size_t TerminalWidth() {
    const bool bTerminal = isatty(STDOUT_FILENO) == 1;
    winsize size{};
    if (bTerminal && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
    const char* szColumns = std::getenv("COLUMNS");
    const long nColumns = szColumns ? std::strtol(szColumns, nullptr, 10) : 0;
    if (nColumns > 0 && nColumns <= UINT16_MAX) return static_cast<size_t>(nColumns);
    return bTerminal ? 80 : 0;
}

bool IsLocaleUtf8() {
    const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr);
    if (!locale) return false;
    const bool bUtf8 = std::strcmp(nl_langinfo_l(CODESET, locale), "UTF-8") == 0;
    freelocale(locale);
    return bUtf8;
}

}  // namespace
