#include "ctl/report/fields.h"

#include "ctl/report/reason.h"
#include "ctl/time_argument.h"
#include "ctl/visible_text.h"
#include "modules/store/store_text.h"

namespace {

Json Text(const char* szText);

}  // namespace

const std::array<tagReportField, 12> REPORT_FIELDS = {{
    {"id", [](const tagReportRow& row) { return Json(row.nId); }},
    {"time", [](const tagReportRow& row) { return Json(LocalTimeText(row.nTime)); }},
    {"unix_time", [](const tagReportRow& row) { return Json(row.nTime); }},
    {"user", [](const tagReportRow& row) { return Text(row.szUser); }},
    {"reason", [](const tagReportRow& row) { return Json(ReasonName(row.nResult)); }},
    {"host", [](const tagReportRow& row) { return Text(row.szHost); }},
    {"url", [](const tagReportRow& row) { return Text(row.szURL); }},
    {"category_id", [](const tagReportRow& row) { return Json(row.nCategory); }},
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

}  // namespace
