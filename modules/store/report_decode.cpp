#include "modules/store/report_decode.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>

#include "common/copy_text.h"
#include "inspect/web_request.h"
#include "modules/store/store_reports.h"
#include "report/report_records.h"

namespace {
constexpr char MONTHS[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
// Each record is copied into a local one first: a caller's need not be aligned.
void DecodeBlock(const void* pRecord, tagDecodedReport* pReport);
void DecodeThreat(const ReportRecordThreat& record, uint32_t nResult, uint32_t nCategory,
                  tagDecodedReport* pReport);
void DecodeHarmful(const void* pRecord, tagDecodedReport* pReport);
void DecodePhishing(const void* pRecord, tagDecodedReport* pReport);
void DecodeClient(const void* pRecord, tagDecodedReport* pReport);
void SetHost(tagDecodedReport* pReport);
int64_t TimeOfText(std::string_view time);
int DigitsAt(std::string_view text, size_t nAt, size_t nCount);
int64_t TimeOfParts(int nYear, int nMonth, int nDay, int nHour, int nMinute, int nSecond);
uint32_t ResultOfClientCategory(uint32_t nCategory);
}  // namespace

size_t ReportRecordSize(int nType) {
    switch (nType) {
        case REPORT_BLOCK:
            return sizeof(ReportRecordBlock);
        case REPORT_CLIENT:
            return sizeof(ClientReportRecord);
        case REPORT_HARMFUL:
            return sizeof(ReportRecordHarmful);
        case REPORT_PHISHING:
            return sizeof(ReportRecordThreat);
        default:
            return 0;
    }
}

int DecodeReport(int nType, const void* pRecord, tagDecodedReport* pReport) {
    std::memset(pReport, 0, sizeof *pReport);
    switch (nType) {
        case REPORT_BLOCK:
            DecodeBlock(pRecord, pReport);
            break;
        case REPORT_CLIENT:
            DecodeClient(pRecord, pReport);
            break;
        case REPORT_HARMFUL:
            DecodeHarmful(pRecord, pReport);
            break;
        case REPORT_PHISHING:
            DecodePhishing(pRecord, pReport);
            break;
        default:
            return 1;
    }
    pReport->nType = nType == REPORT_CLIENT ? 0 : static_cast<uint32_t>(nType);
    pReport->nParts = nType == REPORT_CLIENT ? REPORT_PART_CLIENT : REPORT_PART_TYPED;
    SetHost(pReport);
    return 0;
}

namespace {
void DecodeBlock(const void* pRecord, tagDecodedReport* pReport) {
    ReportRecordBlock record;
    std::memcpy(&record, pRecord, sizeof record);
    DecodeWideText(pReport->szTime, record.wszTime);
    DecodeWideText(pReport->szUser, record.wszUser);
    DecodeWideText(pReport->szURL, record.wszURL);
    DecodeWideText(pReport->szName, record.wszCategoryName);
    DecodeWideText(pReport->szReason, record.wszReportText);
    DecodeWideText(pReport->szAction, record.wszAction);
    pReport->nCategory = record.nCategory;
    pReport->nResult = record.nResult;
    pReport->nTime = TimeOfText(pReport->szTime);
}

void DecodeThreat(const ReportRecordThreat& record, uint32_t nResult, uint32_t nCategory,
                  tagDecodedReport* pReport) {
    DecodeWideText(pReport->szTime, record.wszTime);
    DecodeWideText(pReport->szUser, record.wszUser);
    DecodeWideText(pReport->szURL, record.wszURL);
    DecodeWideText(pReport->szReason, record.wszReportText);
    DecodeWideText(pReport->szAction, record.wszAction);
    pReport->nCategory = nCategory;
    pReport->nResult = nResult;
    pReport->nTime = TimeOfText(pReport->szTime);
}

void DecodeHarmful(const void* pRecord, tagDecodedReport* pReport) {
    ReportRecordHarmful record;
    std::memcpy(&record, pRecord, sizeof record);
    DecodeThreat(record.threat, RESULT_HARMFUL, CATEGORY_HARMFUL, pReport);
    DecodeWideText(pReport->szThreat, record.wszThreatName);
}

void DecodePhishing(const void* pRecord, tagDecodedReport* pReport) {
    ReportRecordThreat record;
    std::memcpy(&record, pRecord, sizeof record);
    DecodeThreat(record, RESULT_FRAUDULENT, CATEGORY_PHISHING, pReport);
}

void DecodeClient(const void* pRecord, tagDecodedReport* pReport) {
    ClientReportRecord record;
    std::memcpy(&record, pRecord, sizeof record);
    constexpr size_t USER_UNITS = sizeof ReportRecordBlock::wszUser / sizeof(char16_t) - 1;
    DecodeWideText(pReport->szUser, std::span(record.wszUser).first(USER_UNITS));
    DecodeWideText(pReport->szURL, record.wszURL);
    DecodeWideText(pReport->szName, record.wszName);
    pReport->nCategory = record.nCategory;
    pReport->nResult = ResultOfClientCategory(record.nCategory);
    const uint16_t* t = record.nLocalTime;
    pReport->nTime = TimeOfParts(t[0], t[1], t[3], t[4], t[5], t[6]);
    if (pReport->nTime == -1) return;
    std::snprintf(pReport->szTime, sizeof pReport->szTime, "%02u-%.3s-%u %02u:%02u:%02u", t[3],
                  &MONTHS[size_t{3} * (t[1] - 1u)], t[0], t[4], t[5], t[6]);
}

void SetHost(tagDecodedReport* pReport) {
    const std::string_view url = pReport->szURL;
    CopyText(pReport->szHost, url.substr(0, url.find_first_of("/:?#")));
    for (char* p = pReport->szHost; *p; ++p) {
        if (*p >= 'A' && *p <= 'Z') *p = static_cast<char>(*p | 0x20);
    }
}

// "05-Mar-2024 14:07:09", whatever the locale of the process.
int64_t TimeOfText(std::string_view time) {
    if (time.size() != 20) return -1;
    const size_t nMonth = std::string_view(MONTHS).find(time.substr(3, 3));
    if (nMonth == std::string_view::npos || nMonth % 3 != 0) return -1;
    return TimeOfParts(DigitsAt(time, 7, 4), static_cast<int>(nMonth / 3) + 1, DigitsAt(time, 0, 2),
                       DigitsAt(time, 12, 2), DigitsAt(time, 15, 2), DigitsAt(time, 18, 2));
}

// -1 when there are others than digits.
int DigitsAt(std::string_view text, size_t nAt, size_t nCount) {
    int nNumber = 0;
    for (const char c : text.substr(nAt, nCount)) {
        if (c < '0' || c > '9') return -1;
        nNumber = nNumber * 10 + (c - '0');
    }
    return nNumber;
}

// Local time to seconds since 1970; -1 for what is no time.
int64_t TimeOfParts(int nYear, int nMonth, int nDay, int nHour, int nMinute, int nSecond) {
    if (nYear < 1970 || nMonth < 1 || nMonth > 12 || nDay < 1 || nDay > 31) return -1;
    if (nHour < 0 || nHour > 23 || nMinute < 0 || nMinute > 59 || nSecond < 0 || nSecond > 60) return -1;
    struct tm local = {};
    local.tm_year = nYear - 1900;
    local.tm_mon = nMonth - 1;
    local.tm_mday = nDay;
    local.tm_hour = nHour;
    local.tm_min = nMinute;
    local.tm_sec = nSecond;
    local.tm_isdst = -1;
    return std::mktime(&local);
}

// A client record does not tell whether host or URL was in the block lists.
uint32_t ResultOfClientCategory(uint32_t nCategory) {
    switch (nCategory) {
        case 0:
            return RESULT_BLOCK_HOST;
        case CATEGORY_HARMFUL:
            return RESULT_HARMFUL;
        case CATEGORY_PHISHING:
            return RESULT_FRAUDULENT;
        default:
            return RESULT_CATEGORY;
    }
}
}  // namespace
