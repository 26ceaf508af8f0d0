#include "ctl/report/fields.h"

#include "category/category_table.h"
#include "ctl/report/reason.h"
#include "ctl/time_argument.h"
#include "ctl/visible_text.h"
#include "inspect/web_request.h"
#include "modules/store/store_text.h"

namespace {

Json Text(const char* szText);
Json CategoryId(const tagReportRow& row);

}  // namespace

const std::array<tagReportField, 12> REPORT_FIELDS = {{
    {"id", [](const tagReportRow& row) { return Json(row.nId); }},
    {"time", [](const tagReportRow& row) { return Json(LocalTimeText(row.nTime)); }},
    {"unix_time", [](const tagReportRow& row) { return Json(row.nTime); }},
    {"user", [](const tagReportRow& row) { return Text(row.szUser); }},
    {"reason", [](const tagReportRow& row) { return Json(ReasonName(row.nResult)); }},
    {"host", [](const tagReportRow& row) { return Text(row.szHost); }},
    {"url", [](const tagReportRow& row) { return Text(row.szURL); }},
    {"category_id", CategoryId},
    {"category", [](const tagReportRow& row) { return Text(row.szName); }},
    {"threat", [](const tagReportRow& row) { return Text(row.szThreat); }},
    {"message", [](const tagReportRow& row) { return Text(row.szReason); }},
    {"count", [](const tagReportRow& row) { return Json(row.nTimes); }},
}};

namespace {

// Plain, as the store keeps it; a store of another hand shall do no harm either.
Json Text(const char* szText) {
    return IsPlainText(szText) ? szText : VisibleText(szText, true);
}

// Its number in the table of categories, whichever mode blocked it; none where no category did.
Json CategoryId(const tagReportRow& row) {
    if (row.nResult != RESULT_CATEGORY) return nullptr;
    const uint8_t nReal = LibraryIdToReal(static_cast<uint16_t>(row.nCategory));
    return nReal == NO_CATEGORY ? row.nCategory : nReal;
}

}  // namespace
