// The web categories: their numbers, their names, and the names that public lists have for them. Leaf header:
// the daemon, its modules, the category server and the command line all take a category's number from here.
//
// A category has two numbers. Its real id is its index in CATEGORY_TABLE: the category server speaks real
// ids, and in server mode they are also what the policy blocks. The engine library leaves the low numbers to
// the harmful and the phishing category, so there a category's number is its library id.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

struct tagCategory {
    uint8_t nId;
    std::string_view szName;
};

// A public list's name for one of the categories.
struct tagCategoryAlias {
    std::string_view szListName;
    uint8_t nId;
};

constexpr uint8_t CATEGORY_UNKNOWN = 0;
constexpr uint8_t NO_CATEGORY = 255;  // a name that stands for no category

constexpr tagCategory CATEGORY_TABLE[] = {
    {0, "Unknown"},
    {1, "Web-based Email"},
    {2, "Weapons"},
    {3, "Violence"},
    {4, "Travel"},
    {5, "Transportation"},
    {6, "Translators"},
    {7, "Tasteless"},
    {8, "Streaming Media & Downloads"},
    {9, "Spyware"},
    {10, "Sports"},
    {11, "Spam Sites"},
    {12, "Social Networking"},
    {13, "Shopping"},
    {14, "Sex Education"},
    {15, "Search Engines & Portals"},
    {16, "School Cheating"},
    {17, "Restaurants & Dining"},
    {18, "Religion"},
    {19, "Real Estate"},
    {20, "Proxy"},
    {21, "Private IP Addresses"},
    {22, "Pornography/Sexually Explicit"},
    {23, "Politics"},
    {24, "Phishing & Fraud"},
    {25, "Personal Sites"},
    {26, "Peer-to-Peer"},
    {27, "Parked Domains"},
    {28, "Online marketing"},
    {29, "Nudity"},
    {30, "Non-profits & NGOs"},
    {31, "News"},
    {32, "Network Errors"},
    {33, "Mobile"},
    {34, "Malware"},
    {35, "Leisure & Recreation"},
    {36, "Keyloggers and Monitoring"},
    {37, "Job Search"},
    {38, "Instant Messaging"},
    {39, "Information Security"},
    {40, "Image Sharing"},
    {41, "Illegal Software"},
    {42, "Illegal Drug"},
    {43, "Humor"},
    {44, "Health & Medicine"},
    {45, "Hate & Intolerance"},
    {46, "Hacking"},
    {47, "Greeting cards"},
    {48, "Government"},
    {49, "General"},
    {50, "Games"},
    {51, "Gambling"},
    {52, "Forums & Newsgroups"},
    {53, "Finance"},
    {54, "File hosting"},
    {55, "Fashion & Beauty"},
    {56, "Entertainment"},
    {57, "Education"},
    {58, "Download Sites"},
    {59, "Dating & Personals"},
    {60, "Cults"},
    {61, "Criminal Activity"},
    {62, "Computers & Technology"},
    {63, "Compromised"},
    {64, "Childcare"},
    {65, "Child Abuse Images"},
    {66, "Chat"},
    {67, "CDN"},
    {68, "Business"},
    {69, "Botnets"},
    {70, "Books or comics"},
    {71, "Astrology"},
    {72, "Arts"},
    {73, "Antispyware"},
    {74, "Anonymizers"},
    {75, "Alcohol & Tobacco"},
    {76, "Advertisements & Pop-Ups"},
};
constexpr size_t CATEGORY_COUNT = std::size(CATEGORY_TABLE);

// Folder names of the UT1 collection and of collections in its manner, and the names of common single lists.
// Names that are one of ours but for case and punctuation are not repeated here. Lists that fit none of the
// categories are left out: whoever imports one has to say what it is.
constexpr tagCategoryAlias CATEGORY_ALIASES[] = {
    {"ads", 76},
    {"adult", 22},
    {"adv", 76},
    {"advertising", 76},
    {"aggressive", 45},
    {"agressif", 45},
    {"ai", 62},
    {"alcohol", 75},
    {"anonvpn", 74},
    {"arjel", 51},
    {"associations_religieuses", 18},
    {"audio-video", 8},
    {"automobile", 5},
    {"bank", 53},
    {"bitcoin", 53},
    {"blog", 25},
    {"celebrity", 56},
    {"cleaning", 73},
    {"cooking", 35},
    {"cryptojacking", 34},
    {"dangerous_material", 61},
    {"dating", 59},
    {"ddos", 46},
    {"dialer", 34},
    {"doh", 20},
    {"download", 58},
    {"downloads", 58},
    {"drogue", 42},
    {"drugs", 42},
    {"dynamic-dns", 62},
    {"educational_games", 57},
    {"examen_pix", 16},
    {"facebook", 12},
    {"financial", 53},
    {"fortunetelling", 71},
    {"forum", 52},
    {"forums", 52},
    {"fraud", 24},
    {"gamble", 51},
    {"hobby", 35},
    {"hospitals", 44},
    {"imagehosting", 40},
    {"isp", 62},
    {"lingerie", 55},
    {"manga", 70},
    {"marketingware", 28},
    {"mixed_adult", 29},
    {"mobile-phone", 33},
    {"moneylending", 53},
    {"movies", 8},
    {"music", 8},
    {"nsfw", 22},
    {"phishing", 24},
    {"piracy", 41},
    {"podcasts", 8},
    {"porn", 22},
    {"pornography", 22},
    {"press", 31},
    {"publicite", 76},
    {"radio", 8},
    {"radiotv", 8},
    {"ransomware", 34},
    {"reaffected", 27},
    {"recreation", 35},
    {"redirector", 74},
    {"remote-control", 62},
    {"residential-proxies", 20},
    {"ringtones", 33},
    {"scam", 24},
    {"science", 57},
    {"searchengines", 15},
    {"sect", 60},
    {"sex", 22},
    {"sexual_education", 14},
    {"shortener", 62},
    {"social", 12},
    {"social_networks", 12},
    {"socialnet", 12},
    {"spam", 11},
    {"stalkerware", 36},
    {"streaming", 8},
    {"strict_redirector", 74},
    {"strong_redirector", 74},
    {"tiktok", 12},
    {"torrent", 26},
    {"tracker", 28},
    {"tracking", 28},
    {"translation", 6},
    {"tricheur", 16},
    {"tricheur_pix", 16},
    {"twitter", 12},
    {"update", 62},
    {"updatesites", 62},
    {"urlshortener", 62},
    {"vaping", 75},
    {"vpn", 74},
    {"warez", 41},
    {"webhosting", 62},
    {"webmail", 1},
    {"webphone", 38},
    {"webradio", 8},
    {"webtv", 8},
    {"whatsapp", 38},
    {"youtube", 8},
};

// The logical id of a real one: itself, or CATEGORY_UNKNOWN for a number that is none.
constexpr uint16_t RealToLogical(uint16_t nReal) {
    return nReal < CATEGORY_COUNT ? nReal : CATEGORY_UNKNOWN;
}

// The engine library's number of a real id below CATEGORY_COUNT.
constexpr uint16_t LIBRARY_ID_BASE = 100;
constexpr uint16_t RealToLibraryId(uint8_t nReal) {
    return static_cast<uint16_t>(LIBRARY_ID_BASE + nReal);
}

// The other way: NO_CATEGORY for a number that is no category of the table.
constexpr uint8_t LibraryIdToReal(uint16_t nLibraryId) {
    const bool bInTable = nLibraryId >= LIBRARY_ID_BASE && nLibraryId < LIBRARY_ID_BASE + CATEGORY_COUNT;
    return bInTable ? static_cast<uint8_t>(nLibraryId - LIBRARY_ID_BASE) : NO_CATEGORY;
}

// The next letter or digit of a name, small, taken off its front; 0 when there is none left.
constexpr char NextNameChar(std::string_view& szName) {
    while (!szName.empty()) {
        const char c = szName.front();
        szName.remove_prefix(1);
        if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) return c;
        if (c >= 'A' && c <= 'Z') return static_cast<char>(c - 'A' + 'a');
    }
    return '\0';
}

// Whether two category names are the same but for case and everything that is no ASCII letter or digit:
// "Job Search" is "job_search".
constexpr bool SameCategoryName(std::string_view a, std::string_view b) {
    for (;;) {
        const char c = NextNameChar(a);
        if (c != NextNameChar(b)) return false;
        if (c == '\0') return true;
    }
}

// The real id of a category's name or of a public list's name for it, or NO_CATEGORY.
constexpr uint8_t FindCategory(std::string_view szName) {
    for (const tagCategory& category : CATEGORY_TABLE) {
        if (SameCategoryName(category.szName, szName)) return category.nId;
    }
    for (const tagCategoryAlias& alias : CATEGORY_ALIASES) {
        if (SameCategoryName(alias.szListName, szName)) return alias.nId;
    }
    return NO_CATEGORY;
}

static_assert(CATEGORY_COUNT == 77);
static_assert(
    [] {
        for (size_t i = 0; i < CATEGORY_COUNT; ++i) {
            if (CATEGORY_TABLE[i].nId != i) return false;
        }
        return true;
    }(),
    "each row carries its index");
