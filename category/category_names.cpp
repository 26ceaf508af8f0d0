#include "category/category_names.h"

#include <stdio.h>
#include <string.h>

#include "category/category_engine.h"
#include "category/translate.h"
#include "common/copy_text.h"

constexpr tagCategoryName CategoryNameTable[CATEGORY_NAME_ROWS] = {
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

namespace {

consteval bool RowsCarryTheirIndex() {
    for (size_t i = 0; i < CATEGORY_NAME_ROWS; ++i) {
        const bool bUsed = i < CATEGORY_COUNT;
        if (CategoryNameTable[i].nId != (bUsed ? i : 0)) return false;
        if ((CategoryNameTable[i].szName[0] != '\0') != bUsed) return false;
    }
    return true;
}
static_assert(RowsCarryTheirIndex());

void SetServerName(tagWebRequest& request);
void SetEngineName(tagWebRequest& request);
bool IsMapped(uint32_t nCategory);

}  // namespace

int SetCategoryName(tagWebRequest* pRequest) {
    if (!pRequest) return 2;
    if (g_bUseCatServer == CATENGINE_LIBRARY || g_bUseCatServer == CATENGINE_LIBRARY_KV) {
        SetEngineName(*pRequest);
    } else {
        SetServerName(*pRequest);
    }
    return 0;
}

namespace {

void SetServerName(tagWebRequest& request) {
    for (const tagCategoryName& row : CategoryNameTable) {
        if (row.nId != request.nCategory) continue;
        WidenText(request.wszCategoryName, row.szName);
        return;
    }
}

void SetEngineName(tagWebRequest& request) {
    if (!IsMapped(request.nCategory)) return;
    char szKey[100];
    snprintf(szKey, sizeof szKey, "%s%d", "ws_catname_", static_cast<int>(request.nCategory));
    WidenText(request.wszCategoryName, TranslateText(szKey));
}

bool IsMapped(uint32_t nCategory) {
    if (!g_WebCatMapping.pEntries) return false;
    for (size_t i = 0; i < g_WebCatMapping.nCount; ++i) {
        uint16_t nId = 0;
        memcpy(&nId, g_WebCatMapping.pEntries + i * WEBCAT_ENTRY_BYTES, sizeof nId);
        if (nId == nCategory) return true;
    }
    return false;
}

}  // namespace
