#include "ctl/config_check.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <sstream>
#include <string_view>

#include "common/profile.h"
#include "ctl/output.h"
#include "ctl/read_file.h"

namespace {

using CheckFn = bool (*)(const std::string& value);

struct tagConfigKey {
    const char* szSection;
    const char* szKey;
    CheckFn IsGood;
    const char* szExpected;
};

bool IsQueueNumber(const std::string& value);
bool IsSwitch(const std::string& value);
bool IsEngine(const std::string& value);
bool IsTable(const std::string& value);
bool IsChain(const std::string& value);
bool IsPortList(const std::string& value);

constexpr char RULES[] = "IPTABLEConfigurations";
constexpr char SERVICE[] = "ServiceConfigurations";
constexpr tagConfigKey CONFIG_KEYS[] = {
    {RULES, "queueNum", IsQueueNumber, "a number from 0 to 65535"},
    {RULES, "iptableTable", IsTable, "mangle, filter, raw, nat or security"},
    {RULES, "iptableChain", IsChain, "the name of a chain"},
    {RULES, "UseDefinedPorts", IsSwitch, "0 or 1"},
    {RULES, "HTTPPorts", IsPortList, "ports with commas between"},
    {RULES, "HTTPSPorts", IsPortList, "ports with commas between"},
    {RULES, "FTPPorts", IsPortList, "ports with commas between"},
    {SERVICE, "catEngine", IsEngine, "0, 1 or 2"},
    {SERVICE, "LiveTraffic", IsSwitch, "0 or 1"},
    {SERVICE, "CloseBypasses", IsSwitch, "0 or 1"},
};

void CheckNames(const std::string& text, std::vector<std::string>& problems);
void CheckValue(const std::string& path, const tagConfigKey& key, std::vector<std::string>& problems);
bool IsNumber(std::string_view value, uint32_t nMax);
std::string Trimmed(std::string_view text);

}  // namespace

tagConfigCheck CheckServiceConfig(const std::string& path) {
    const auto text = ReadTextFile(path);
    if (!text && errno == ENOENT) return {false, {}};
    tagConfigCheck check{true, {}};
    if (!text) {
        check.problems.push_back(std::string("cannot be read: ") + std::strerror(errno));
        return check;
    }
    CheckNames(*text, check.problems);
    for (const tagConfigKey& key : CONFIG_KEYS)
        CheckValue(path, key, check.problems);
    return check;
}

namespace {

void CheckNames(const std::string& text, std::vector<std::string>& problems) {
    std::istringstream lines(text);
    std::string section;
    for (std::string line; std::getline(lines, line);) {
        line = Trimmed(line);
        if (line.empty() || line[0] == '#' || line[0] == ';') continue;
        const bool bHeader = line[0] == '[';
        if (bHeader && line.find(']') == line.npos) {
            problems.push_back("the heading " + Quoted(line) + " has no ']'");
            continue;
        }
        if (bHeader) section = Trimmed(line.substr(1, line.find(']') - 1));
        const std::string key = Trimmed(line.substr(0, line.find('=')));
        const bool bKnown =
            std::any_of(std::begin(CONFIG_KEYS), std::end(CONFIG_KEYS), [&](const tagConfigKey& known) {
                return strcasecmp(known.szSection, section.c_str()) == 0 &&
                       (bHeader || strcasecmp(known.szKey, key.c_str()) == 0);
            });
        if (bKnown) continue;
        problems.push_back(bHeader ? "the section " + Quoted(section) + " is not known"
                                   : Quoted(key) + " in section " + Quoted(section) + " is not known");
    }
}

void CheckValue(const std::string& path, const tagConfigKey& key, std::vector<std::string>& problems) {
    char szValue[512] = {};
    unsigned int nError = 0;
    (void)GetPrivateProfileString(key.szSection, key.szKey, "", szValue, sizeof szValue, path.c_str(),
                                  &nError);
    if (nError != PROFILE_OK || key.IsGood(szValue)) return;
    problems.push_back(std::string(key.szKey) + " is " + Quoted(szValue) + ", not " + key.szExpected);
}

bool IsQueueNumber(const std::string& value) {
    return IsNumber(value, 65535);
}

bool IsSwitch(const std::string& value) {
    return IsNumber(value, 1);
}

bool IsEngine(const std::string& value) {
    return IsNumber(value, 2);
}

bool IsTable(const std::string& value) {
    constexpr std::string_view TABLES[] = {"mangle", "filter", "raw", "nat", "security"};
    return std::count(std::begin(TABLES), std::end(TABLES), value) == 1;
}

bool IsChain(const std::string& value) {
    constexpr size_t LONGEST = 28;  // XT_EXTENSION_MAXNAMELEN without its end
    return !value.empty() && value.size() <= LONGEST &&
           std::all_of(value.begin(), value.end(),
                       [](unsigned char c) { return std::isalnum(c) || c == '-' || c == '_' || c == '.'; });
}

// Single ports and ranges, as the rules' port match takes them.
bool IsPortList(const std::string& value) {
    std::istringstream items(value + ",");
    for (std::string item; std::getline(items, item, ',');) {
        const size_t nColon = item.find(':');
        if (!IsNumber(item.substr(0, nColon), 65535)) return false;
        if (nColon != item.npos && !IsNumber(item.substr(nColon + 1), 65535)) return false;
    }
    return true;
}

bool IsNumber(std::string_view value, uint32_t nMax) {
    if (value.empty() || value.size() > 5) return false;
    uint32_t nValue = 0;
    for (const char c : value) {
        if (c < '0' || c > '9') return false;
        nValue = nValue * 10 + static_cast<uint32_t>(c - '0');
    }
    return nValue <= nMax;
}

std::string Trimmed(std::string_view text) {
    constexpr char BLANKS[] = " \t\n\v\f\r";
    const size_t nFirst = text.find_first_not_of(BLANKS);
    if (nFirst == text.npos) return {};
    return std::string(text.substr(nFirst, text.find_last_not_of(BLANKS) - nFirst + 1));
}

}  // namespace
