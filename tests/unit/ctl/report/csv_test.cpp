#include "ctl/report/csv.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/unit/ctl/report/report_row.h"

namespace {

TEST(ReportCsv, QuotesWhatSeparatesAndDefusesFormulas) {
    const std::pair<const char*, const char*> rows[] = {
        {"", ""},          {"a.example/p?x=1", "a.example/p?x=1"},
        {"+1", "'+1"},     {"say \"hi\"", "\"say \"\"hi\"\"\""},
        {"-1", "'-1"},     {"=HYPERLINK(1)", "'=HYPERLINK(1)"},
        {"1=1", "1=1"},    {"=A1,\"x\"", "\"'=A1,\"\"x\"\"\""},
        {"@S", "'@S"},     {"\r=1", "\"'\r=1\""},
        {"\t", "'\t"},     {"a\r\nb", "\"a\r\nb\""},
        {"a,b", "\"a,b\""}};
    for (const auto& [szText, szExpected] : rows)
        EXPECT_EQ(CsvField(szText), szExpected);
}

TEST(ReportCsv, WritesAFieldForEachColumn) {
    std::ostringstream out;
    CsvWriter writer(out);
    writer.Begin();
    tagReportRow row = RowWith("");
    row.nTime = -1, row.nResult = 8, row.nCategory = 2;
    row.szUser = "=cmd", row.szURL = "a.example/,\x1b[2J", row.szHost = "a.example";
    row.szName = "Malicious", row.szThreat = "EICAR";
    writer.Write(row);
    writer.End();
    const std::string text = out.str();
    EXPECT_EQ(text.substr(0, text.find("\r\n")),
              "id,time,unix_time,user,reason,host,url,category_id,category,threat,message,count");
    // A number is no formula.
    EXPECT_NE(text.find(",-1,'=cmd,harmful,a.example,\"a.example/,\\x1B[2J\",,Malicious,EICAR,,1\r\n"),
              std::string::npos)
        << text;
}

}  // namespace
