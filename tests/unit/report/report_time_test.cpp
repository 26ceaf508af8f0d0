#include "report/report_time.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

namespace {

TEST(ReportTime, IsTheLocalTimeInTheGivenFormat) {
    setenv("TZ", "XXX-05:30", 1);  // half an hour off every whole one
    tzset();
    char szText[256];
    const time_t nBefore = time(nullptr);
    ASSERT_EQ(FormatReportTime(szText, sizeof szText, "%d-%b-%Y %H:%M:%S"), szText);
    const time_t nAfter = time(nullptr);
    tm parsed{};
    const char* pEnd = strptime(szText, "%d-%b-%Y %H:%M:%S", &parsed);
    ASSERT_NE(pEnd, nullptr) << szText;
    EXPECT_STREQ(pEnd, "");
    EXPECT_GE(mktime(&parsed), nBefore);
    EXPECT_LE(mktime(&parsed), nAfter);
    unsetenv("TZ");
    tzset();
}

TEST(ReportTime, ATextThatDoesNotFitIsNull) {
    char szText[21];
    EXPECT_EQ(FormatReportTime(szText, 20, "%d-%b-%Y %H:%M:%S"), nullptr) << "no room for the terminator";
    EXPECT_EQ(FormatReportTime(szText, 21, "%d-%b-%Y %H:%M:%S"), szText);
    EXPECT_EQ(FormatReportTime(szText, 0, "%Y"), nullptr);
}

}  // namespace
