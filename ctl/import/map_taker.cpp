#include "ctl/import/map_taker.h"

#include <strings.h>

#include <new>

#include "category/category_table.h"
#include "ctl/import/merge_sources.h"
#include "ctl/output.h"
#include "modules/store/store_text.h"

MapTaker::MapTaker(const tagSource& source)
    : m_source(source), m_nCategory(static_cast<uint16_t>(source.nCategory)) {
    if (StartURLMap(&m_builder, source.pKind->nMapKind) != URLMAP_OK) throw std::bad_alloc();
}

MapTaker::~MapTaker() {
    FreeURLMapBuilder(&m_builder);
}

const char* MapTaker::Enter(const std::string& folder) {
    if (m_source.nCategory == SOURCE_MANY_CATEGORIES) {
        if (folder.empty()) return "stands in no folder whose name says the category";
        const uint8_t nCategory = FindCategory(folder);
        if (nCategory == NO_CATEGORY) return "is named like no category";
        m_nCategory = nCategory;
    } else if (!folder.empty() && !m_folder.empty() && folder != m_folder) {
        throw CtlError(
            "refused: there are several categories in it (" + Quoted(m_folder) + ", " + Quoted(folder) +
            "); name one folder or file, or let the folders say the categories: import category " + "auto");
    }
    m_folder = folder;
    return nullptr;
}

const char* MapTaker::Take(const tagLineItem& item, const tagCanonicalURL& url) {
    if (item.bException) return "takes a name back: import such rules into allow or trust";
    const int nResult = Add(item, URLKey({url.szText, url.nLength}));
    if (nResult != URLMAP_OK) throw CtlError(MapFailureText(nResult) + "; nothing was changed");
    const bool bEncrypted = item.text.size() > 8 && strncasecmp(item.text.data(), "https://", 8) == 0;
    if (bEncrypted && url.nLength > url.nHost + 1) ++m_nUnseenPaths;
    return nullptr;
}

std::string MapTaker::Notes() const {
    if (m_nUnseenPaths == 0) return "";
    return "https URLs with a path: " + std::to_string(m_nUnseenPaths) +
           "; of an HTTPS request only the host is seen, so they are found in plain HTTP alone";
}

int MapTaker::Add(const tagLineItem& item, uint64_t nKey) {
    if (m_builder.nKind == URLMAP_CATEGORIES) return AddCategory(&m_builder, nKey, m_nCategory);
    if (item.threat.empty()) return AddThreat(&m_builder, nKey, m_source.name);
    // It is shown in reports.
    if (IsPlainText(item.threat)) return AddThreat(&m_builder, nKey, item.threat);
    return AddThreat(&m_builder, nKey, Printable(item.threat));
}
