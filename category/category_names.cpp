#include "category/category_names.h"

#include <stdio.h>
#include <string.h>

#include "category/category_engine.h"
#include "category/category_table.h"
#include "category/translate.h"
#include "common/copy_text.h"

namespace {

consteval std::array<tagCategoryName, CATEGORY_NAME_ROWS> MakeNameRows() {
    std::array<tagCategoryName, CATEGORY_NAME_ROWS> rows{};
    for (const tagCategory& category : CATEGORY_TABLE) {
        tagCategoryName& row = rows[category.nId];
        row.nId = category.nId;
        category.szName.copy(row.szName, sizeof row.szName - 1);
    }
    return rows;
}

void SetServerName(tagWebRequest& request);
void SetEngineName(tagWebRequest& request);
bool IsMapped(uint32_t nCategory);

}  // namespace

constexpr std::array<tagCategoryName, CATEGORY_NAME_ROWS> CategoryNameTable = MakeNameRows();

int SetCategoryName(tagWebRequest* pRequest) {
    if (!pRequest) return 2;
    if (UsesEngineLibrary()) {
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
