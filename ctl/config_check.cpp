#include "ctl/config_check.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <set>
#include <sstream>
#include <string_view>
#include <utility>

#include "common/ascii.h"
#include "common/profile.h"
#include "ctl/output.h"
#include "ctl/read_file.h"
#include "intercept/port_list.h"

namespace {

using CheckFn = bool (*)(const std::string& value);

struct tagConfigKey {
    const char* szSection;
    const char* szKey;
    CheckFn IsGood;
    const char* szExpected;
};

bool IsAnyText(const std::string& value);
bool IsAnyNumber(const std::string& value);
bool IsSwitch(const std::string& value);
bool IsEngine(const std::string& value);

constexpr size_t PORT_LISTS = 3;
constexpr char RULES[] = "IPTABLEConfigurations";
constexpr char SERVICE[] = "ServiceConfigurations";
constexpr tagConfigKey CONFIG_KEYS[] = {
    {RULES, "queueNum", IsAnyNumber, "a number from 0 to 65535"},
    {RULES, "iptableTable", IsAnyText, ""},
    {RULES, "iptableChain", IsAnyText, ""},
    {RULES, "UseDefinedPorts", IsSwitch, "0 or 1"},
    {RULES, "HTTPPorts", IsAnyText, ""},
    {RULES, "HTTPSPorts", IsAnyText, ""},
    {RULES, "FTPPorts", IsAnyText, ""},
    {SERVICE, "catEngine", IsEngine, "0, 1 or 2"},
    {SERVICE, "LiveTraffic", IsSwitch, "0 or 1"},
    {SERVICE, "CloseBypasses", IsSwitch, "0 or 1"},
};

void CheckNames(const std::string& text, std::vector<std::string>& problems);
std::string Lowered(std::string text);
void CheckValue(const std::string& path, const tagConfigKey& key, std::vector<std::string>& problems);
std::string WhyNotInChain(const std::string& table, const std::string& chain);
bool IsChainName(const std::string& value);
bool IsNumber(std::string_view value, uint32_t nMax);

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

std::vector<std::string> WhyNoRules(const tagServiceConfig& config) {
    std::vector<std::string> reasons;
    const std::string table = config.szIptableTable, chain = config.szIptableChain;
    if (config.nQueueNum > 65535) {
        // Read as an int, as which it is told.
        reasons.push_back("queueNum is " + std::to_string(static_cast<int32_t>(config.nQueueNum)) +
                          ", not a number from 0 to 65535");
    }
    if (table == "nat") {
        reasons.push_back("iptableTable is 'nat', which sees only the first packet of a connection");
    } else if (!IsRuleTable(table)) {
        reasons.push_back("iptableTable is " + Quoted(table) + ", not mangle, filter, raw or security");
    }
    const std::string whyNot = WhyNotInChain(table, chain);
    if (!whyNot.empty()) reasons.push_back("iptableChain is " + Quoted(chain) + ", " + whyNot);
    const auto badLists = BadPortLists(config);
    if (badLists.size() == PORT_LISTS || !ArePortsFitForShell(config))
        reasons.insert(reasons.end(), badLists.begin(), badLists.end());
    return reasons;
}

std::vector<std::string> BadPortLists(const tagServiceConfig& config) {
    std::vector<std::string> reasons;
    if (config.bUseDefinedPorts == 0) return reasons;
    const std::pair<const char*, const char*> lists[PORT_LISTS] = {{"HTTPPorts", config.szHTTPPorts},
                                                                   {"HTTPSPorts", config.szHTTPSPorts},
                                                                   {"FTPPorts", config.szFTPPorts}};
    for (const auto& [szKey, szPorts] : lists) {
        if (IsPortList(szPorts)) continue;
        reasons.push_back(std::string(szKey) + ", with the ports of other files, is " + Quoted(szPorts) +
                          ", not ports with commas between, 15 at most, where a range FROM:TO counts as two");
    }
    return reasons;
}

bool IsPlaceForRules(const tagServiceConfig& config) {
    const std::string_view table = config.szIptableTable;
    return (IsRuleTable(table) || table == "nat") && IsChainName(config.szIptableChain);
}

bool ArePortsFitForShell(const tagServiceConfig& config) {
    const auto arePorts = [](std::string_view ports) {
        return ports.find_first_not_of("0123456789,: ") == ports.npos;
    };
    return config.bUseDefinedPorts == 0 ||
           (arePorts(config.szHTTPPorts) && arePorts(config.szHTTPSPorts) && arePorts(config.szFTPPorts));
}

bool IsRuleTable(std::string_view table) {
    constexpr std::string_view TABLES[] = {"mangle", "filter", "raw", "security"};
    return std::count(std::begin(TABLES), std::end(TABLES), table) == 1;
}

namespace {

void CheckNames(const std::string& text, std::vector<std::string>& problems) {
    std::istringstream lines(text);
    std::string section;
    std::set<std::string> seen;  // sections, and with "]" behind them their keys
    for (std::string line; std::getline(lines, line);) {
        line = std::string(TrimBlanks(line));
        if (line.empty() || line[0] == '#' || line[0] == ';') continue;
        const bool bHeader = line[0] == '[';
        if (bHeader && line.find(']') == line.npos) {
            problems.push_back("the heading " + Quoted(line) + " has no ']'");
            continue;
        }
        if (bHeader) section = TrimBlanks(std::string_view(line).substr(1, line.find(']') - 1));
        const std::string key(TrimBlanks(std::string_view(line).substr(0, line.find('='))));
        const bool bKnown =
            std::any_of(std::begin(CONFIG_KEYS), std::end(CONFIG_KEYS), [&](const tagConfigKey& known) {
                return strcasecmp(known.szSection, section.c_str()) == 0 &&
                       (bHeader || strcasecmp(known.szKey, key.c_str()) == 0);
            });
        if (!bKnown) {
            problems.push_back(bHeader ? "the section " + Quoted(section) + " is not known"
                                       : Quoted(key) + " in section " + Quoted(section) + " is not known");
        } else if (!seen.insert(Lowered(section + (bHeader ? "" : "]" + key))).second) {
            problems.push_back((bHeader ? "the section " + Quoted(section) : Quoted(key)) +
                               " stands twice: websec reads the first alone");
        } else if (!bHeader && line.find('=') == line.npos) {
            problems.push_back(Quoted(key) + " has no '=': its default holds");
        }
    }
}

std::string Lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return static_cast<char>(AsciiLower(c)); });
    return text;
}

void CheckValue(const std::string& path, const tagConfigKey& key, std::vector<std::string>& problems) {
    char szValue[512] = {};
    unsigned int nError = 0;
    (void)GetPrivateProfileString(key.szSection, key.szKey, "", szValue, sizeof szValue, path.c_str(),
                                  &nError);
    if (nError != PROFILE_OK || key.IsGood(szValue)) return;
    problems.push_back(std::string(key.szKey) + " is " + Quoted(szValue) + ", not " + key.szExpected);
}

bool IsAnyText(const std::string&) {
    return true;
}

bool IsAnyNumber(const std::string& value) {
    return !value.empty() && value.find_first_not_of("0123456789") == value.npos;
}

bool IsSwitch(const std::string& value) {
    return IsNumber(value, 1);
}

bool IsEngine(const std::string& value) {
    return IsNumber(value, 2);
}

// Empty where what this host sends comes through such a chain, or can be led there.
std::string WhyNotInChain(const std::string& table, const std::string& chain) {
    constexpr std::string_view OTHERS[] = {"PREROUTING", "INPUT", "FORWARD"};
    if (!IsChainName(chain)) return "not the name of a chain";
    if (std::count(std::begin(OTHERS), std::end(OTHERS), chain) != 0) {
        return "through which nothing goes that this host sends";
    }
    const bool bMissing = chain == "POSTROUTING" && IsRuleTable(table) && table != "mangle";
    return bMissing ? "which the table " + table + " does not have" : "";
}

bool IsChainName(const std::string& value) {
    constexpr size_t LONGEST = 28;  // XT_EXTENSION_MAXNAMELEN without its end
    return !value.empty() && value[0] != '-' && value.size() <= LONGEST &&
           std::all_of(value.begin(), value.end(),
                       [](unsigned char c) { return std::isalnum(c) || c == '-' || c == '_' || c == '.'; });
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

}  // namespace
