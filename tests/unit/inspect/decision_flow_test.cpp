// The order in which a request meets the checks, and what the report of a block tells.
#include "inspect/decision_flow.h"

#include <arpa/inet.h>
#include <linux/netfilter.h>

#include <map>
#include <set>

#include "category/translate.h"
#include "tests/support/fake_kernel_queue.h"
#include "tests/support/packet_composer.h"
#include "tests/unit/inspect/flow_fixture.h"

namespace {

std::u16string Wide(std::string_view text) {
    return {text.begin(), text.end()};
}

bool IsLibrary(uint8_t nEngine) {
    return nEngine == CATENGINE_LIBRARY || nEngine == CATENGINE_LIBRARY_KV;
}

enum : unsigned { LIBRARY = 1, SERVER = 2, ANY = LIBRARY | SERVER };

// A site, and its fate under some engines and some settings of the switches.
struct tagFlowRow {
    const char* szReason;
    unsigned nPlaces, nFindings;
    int nCategory;
    unsigned nEngines;
    const char* szSwitches;  // phishing, browsing, category filter, block list: 1 on, 0 off, * either
    const char* szAsked;     // if the switch is on; c stands for every kind of look-up
    uint32_t nBlocked;       // 0: accepted
};

// On is exactly 1; the block list alone is on with every value but 0.
bool Applies(const tagFlowRow& row, uint8_t nEngine, std::string_view digits) {
    if (!(row.nEngines & (IsLibrary(nEngine) ? LIBRARY : SERVER))) return false;
    for (size_t n = 0; n < digits.size(); ++n) {
        const bool bOn = n == 3 ? digits[n] != '0' : digits[n] == '1';
        if (row.szSwitches[n] != '*' && bOn != (row.szSwitches[n] == '1')) return false;
    }
    return true;
}

// A scan takes place if its switch is on, a look-up if one of the three is not 0.
std::string Trace(const tagFlowRow& row, uint8_t nEngine, std::string_view digits) {
    std::string trace;
    for (const char cLetter : std::string_view(row.szAsked)) {
        if (cLetter == 'p' && digits[0] == '1') trace += 'p';
        if (cLetter == 'b' && digits[1] == '1') trace += 'b';
        if (cLetter == 'c' && digits.substr(0, 3) != "000") trace += "cks"[nEngine < 2 ? nEngine : 2];
    }
    return trace + (row.nBlocked ? "RrX" : "");
}

// What the reports of a block must tell.
struct tagReason {
    std::string text, categoryName, clientName;
    uint32_t nCategory;
};

tagReason ReasonOf(const tagFlowRow& row, uint8_t nEngine) {
    const auto nCategory = static_cast<uint32_t>(row.nCategory);
    switch (row.nBlocked) {
        case RESULT_FRAUDULENT:
            return {TranslateText("ws_rpt_fradulanturl"), "", TranslateText("Phishing"), CATEGORY_PHISHING};
        case RESULT_HARMFUL:
            return {TranslateText("ws_rpt_harmfulurl"), "", TranslateText("Malicious"), CATEGORY_HARMFUL};
        case RESULT_CATEGORY: {
            // The server's categories come without a text.
            const bool bLibrary = IsLibrary(nEngine);
            const std::string name(bLibrary ? TranslateText("ws_catname_50")
                                            : CATEGORY_TABLE[nCategory].szName);
            return {bLibrary ? TranslateText("ws_rpt_categoryurl") : "", name, name, nCategory};
        }
        default:
            return {TranslateText("ws_rpt_blocklisturl"), "", TranslateText("Custom blocked"), 0};
    }
}

void ExpectReports(const tagFlowRow& row, uint8_t nEngine) {
    const tagRecordedReports& reports = g_Flow.reports;
    const tagReason reason = ReasonOf(row, nEngine);
    EXPECT_EQ(reports.nResult, row.nBlocked);
    EXPECT_EQ(reports.text, Wide(reason.text));
    EXPECT_EQ(reports.name, Wide(reason.categoryName));
    EXPECT_EQ(reports.clientName, Wide(reason.clientName));
    EXPECT_EQ(reports.nCategory, reason.nCategory);
    const bool bScanned = row.nBlocked == RESULT_HARMFUL && (row.nFindings & FOUND_HARMFUL);
    EXPECT_EQ(reports.threat, bScanned ? u"Threat.A" : u"") << "only the scanner names threats";
}

// All settings of the four switches, with 1 and with another value that is no 0.
std::set<std::string> AllSwitches() {
    std::set<std::string> all;
    for (const char cOther : {'1', '2'}) {
        for (unsigned n = 0; n < 16; ++n) {
            std::string digits = "0000";
            for (size_t nSwitch = 0; nSwitch < 4; ++nSwitch)
                if (n >> nSwitch & 1) digits[nSwitch] = cOther;
            all.insert(digits);
        }
    }
    return all;
}

// Each row runs under every engine and with all values of the switches that it applies to. Together the rows
// of one site leave none out and name none twice.
TEST_F(DecisionFlow, TheOrderOfTheChecks) {
    const uint32_t PHISH = RESULT_FRAUDULENT, HARM = RESULT_HARMFUL, CATEGORY = RESULT_CATEGORY;
    const uint32_t HOST = RESULT_BLOCK_HOST, URL = RESULT_BLOCK_URL;
    const unsigned P = FOUND_PHISHING, H = FOUND_HARMFUL, PH = P | H;
    const tagFlowRow rows[] = {
        {"nothing found", 0, 0, 17, ANY, "****", "pbc", 0},
        {"excluded: nothing else counts", EXCL | B_HOST, PH, 50, ANY, "****", "", 0},

        {"phishing, in a blocked category", 0, P, 50, ANY, "1***", "p", PHISH},
        {"unprotected from phishing", 0, P, 50, ANY, "0*1*", "bc", CATEGORY},
        {"unprotected from either", 0, P, 50, ANY, "0*0*", "bc", 0},
        {"harmful", 0, H, 17, ANY, "*1**", "pb", HARM},
        {"unprotected from harm", 0, H, 17, ANY, "*0**", "pc", 0},
        {"phishing before harmful", 0, PH, 17, ANY, "1***", "p", PHISH},
        {"harmful alone is looked for", 0, PH, 17, ANY, "01**", "b", HARM},
        {"neither is looked for", 0, PH, 17, ANY, "00**", "c", 0},

        {"a finding comes before the block list", B_HOST, P, 17, ANY, "1***", "p", PHISH},
        {"no finding, block-listed", B_HOST, P, 17, ANY, "0**1", "b", HOST},
        {"no finding, block list off", B_HOST, P, 17, ANY, "0**0", "bc", 0},
        {"found on a trusted site: block list not asked", SITE | B_HOST, PH, 17, ANY, "1***", "p", 0},
        {"the same, harmful", SITE | B_HOST, PH, 17, ANY, "01**", "b", 0},
        {"not found: trust does not count", SITE | B_HOST, PH, 17, ANY, "00*1", "", HOST},
        {"not found, block list off", SITE | B_HOST, PH, 17, ANY, "00*0", "c", 0},
        {"found by a trusted pattern", PATTERN | B_URL, P, 17, ANY, "1***", "p", 0},
        {"not found: the pattern does not count", PATTERN | B_URL, P, 17, ANY, "0**1", "b", URL},
        {"not found, block list off", PATTERN | B_URL, P, 17, ANY, "0**0", "bc", 0},
        {"allowed, yet phishing", ALLOWED, P, 17, ANY, "1***", "p", PHISH},
        {"allowed", ALLOWED, P, 17, ANY, "0***", "bc", 0},
        {"allowed, yet harmful", ALLOWED, H, 17, ANY, "*1**", "pb", HARM},
        {"allowed", ALLOWED, H, 17, ANY, "*0**", "pc", 0},

        {"trusted, allowed, block-listed", SITE | PATTERN | ALLOWED | B_HOST, 0, 50, ANY, "***1", "pb", HOST},
        {"allowed, block list off", SITE | PATTERN | ALLOWED | B_HOST, 0, 50, ANY, "***0", "pbc", 0},
        {"the block list comes before categories", B_URL, 0, 50, ANY, "***1", "pb", URL},
        {"block list off, blocked category", B_URL, 0, 50, ANY, "**10", "pbc", CATEGORY},
        {"block list and filter off", B_URL, 0, 50, ANY, "**00", "pbc", 0},

        {"blocked category", 0, 0, 50, ANY, "**1*", "pbc", CATEGORY},
        {"filter off", 0, 0, 50, ANY, "**0*", "pbc", 0},
        {"trust does not lift a category", SITE | PATTERN, 0, 50, ANY, "**1*", "pbc", CATEGORY},
        {"filter off", SITE | PATTERN, 0, 50, ANY, "**0*", "pbc", 0},
        {"an allowed host lifts it", A_HOST, 0, 50, ANY, "****", "pbc", 0},
        {"an allowed URL lifts it", A_URL, 0, 50, ANY, "****", "pbc", 0},
        {"the look-up fails", 0, 0, -50, ANY, "****", "pbc", 0},
        {"no category is blocked", NO_CATS, 0, 50, ANY, "****", "pbc", 0},

        {"category 2 is browsing protection's", 0, 0, 2, LIBRARY, "*1**", "pbc", HARM},
        {"browsing protection off", 0, 0, 2, LIBRARY, "*0**", "pbc", 0},
        {"the server's 2 is the filter's", 0, 0, 2, SERVER, "**1*", "pbc", CATEGORY},
        {"filter off", 0, 0, 2, SERVER, "**0*", "pbc", 0},
        {"category 3 is phishing protection's", 0, 0, 3, LIBRARY, "1***", "pbc", PHISH},
        {"phishing protection off", 0, 0, 3, LIBRARY, "0***", "pbc", 0},
        {"the server's 3 is the filter's", 0, 0, 3, SERVER, "**1*", "pbc", CATEGORY},
        {"filter off", 0, 0, 3, SERVER, "**0*", "pbc", 0},
        {"a trusted site lifts 2", SITE, 0, 2, LIBRARY, "****", "pbc", 0},
        {"not the server's", SITE, 0, 2, SERVER, "**1*", "pbc", CATEGORY},
        {"filter off", SITE, 0, 2, SERVER, "**0*", "pbc", 0},
        {"a trusted pattern lifts 3", PATTERN, 0, 3, LIBRARY, "****", "pbc", 0},
        {"not the server's", PATTERN, 0, 3, SERVER, "**1*", "pbc", CATEGORY},
        {"filter off", PATTERN, 0, 3, SERVER, "**0*", "pbc", 0},
        {"allowing does not lift 2", ALLOWED, 0, 2, LIBRARY, "*1**", "pbc", HARM},
        {"browsing protection off", ALLOWED, 0, 2, LIBRARY, "*0**", "pbc", 0},
        {"but the server's", ALLOWED, 0, 2, SERVER, "****", "pbc", 0},
    };
    const auto message =
        fake_kernel::QueueMessage(PACKET_ID, ComposePacket({.payload = Http("GET /p", "a.example")}));
    const uint8_t engines[] = {CATENGINE_LIBRARY, CATENGINE_LIBRARY_KV, 7};  // any other is the server
    const std::set<std::string> allSwitches = AllSwitches();
    std::map<std::vector<int>, std::set<std::string>> seen;
    for (const tagFlowRow& row : rows) {
        auto& ofSite = seen[{static_cast<int>(row.nPlaces), static_cast<int>(row.nFindings), row.nCategory}];
        for (const uint8_t nEngine : engines) {
            for (const std::string& digits : allSwitches) {
                if (!Applies(row, nEngine, digits)) continue;
                const std::string run = "engine " + std::to_string(nEngine) + ", switches " + digits;
                SCOPED_TRACE(row.szReason + (", " + run));
                EXPECT_TRUE(ofSite.insert(run).second) << "a row before names it, too";
                SetUp();
                SetSwitches(digits);
                SetPlaces(row.nPlaces);
                g_Flow.nFindings = row.nFindings;
                g_Flow.nCategory = row.nCategory;
                g_bUseCatServer = nEngine;

                EXPECT_EQ(Dispatch(message).nVerdict, row.nBlocked ? NF_DROP : NF_ACCEPT);
                EXPECT_EQ(g_Flow.trace, Trace(row, nEngine, digits));
                if (row.nBlocked) ExpectReports(row, nEngine);
                TearDown();
            }
        }
    }
    for (const auto& [site, runs] : seen)
        EXPECT_EQ(runs.size(), std::size(engines) * allSwitches.size()) << testing::PrintToString(site);
}

// Appends the FTP server's address.
void ListServer(tagSequence<tagURLSetting>& urls) {
    constexpr std::u16string_view ADDRESS = u"198.51.100.20";
    ADDRESS.copy(AppendElement(urls)->wszText, ADDRESS.size());
}

// The first FTP request that comes to the address lists loads the settings in the midst of the checks: those
// before it went by the old ones, those behind it go by the new ones.
TEST_F(DecisionFlow, TheFirstFTPAddressMatch) {
    const struct {
        const char* szReason;
        const char* szSwitches;
        bool bListed;  // in the old block list
        void (*pfnSettings)(tagClientSettingData&);
        const char* szAsked;
        uint32_t nBlocked;
    } rows[] = {
        {"the new block list decides", "0001", false,
         [](tagClientSettingData& s) { s.nCustomBlockList = 1, ListServer(s.vecBlockList); }, "l",
         RESULT_BLOCK_HOST},
        {"old list and switches are gone", "1111", true, [](tagClientSettingData&) {}, "pbl", 0},
        {"the new switches ask, nothing loads again", "0001", false,
         [](tagClientSettingData& s) {
             s.nWebCategoryFilter = 1;
             tagCategorySetting* pCategory = AppendElement(s.vecCategories);
             pCategory->nCategory = 50, pCategory->bBlocked = 1;
         },
         "lc", RESULT_CATEGORY},
        {"block list off: the allow side loads", "0010", false,
         [](tagClientSettingData& s) { s.nWebCategoryFilter = 1, ListServer(s.vecAllowList); }, "cl", 0},
        {"the filter is not asked twice", "0010", false, [](tagClientSettingData&) {}, "cl", RESULT_CATEGORY},
        {"what passes before the lists loads nothing", "0000", false, [](tagClientSettingData&) {}, "", 0},
        {"settings that cannot be had change nothing", "0001", true, nullptr, "l", RESULT_BLOCK_HOST},
    };
    const auto message =
        fake_kernel::QueueMessage(PACKET_ID, ComposePacket({.nDstPort = 21, .payload = "RETR f.zip\r\n"}));
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szReason);
        SetUp();
        SetSwitches(row.szSwitches);
        SetPlaces(0);
        if (row.bListed) FillList(g_pBlockAddrList, {"198.51.100.20"});
        g_Flow.nCategory = 50;
        g_Flow.pfnSettings = row.pfnSettings;
        EXPECT_EQ(Dispatch(message).nVerdict, row.nBlocked ? NF_DROP : NF_ACCEPT);
        EXPECT_EQ(g_Flow.trace, std::string(row.szAsked) + (row.nBlocked ? "RrX" : ""));
        EXPECT_EQ(g_Flow.reports.nResult, row.nBlocked);
        TearDown();
    }
}

}  // namespace
