// What a line of each format gives, what is refused and why, and which format a file is in.
#include "ctl/import/line_reader.h"

#include <gmock/gmock.h>

#include "ctl/import/line_splitter.h"
#include "ctl/import/list_format.h"

namespace {

using testing::HasSubstr;

// The names of a line, each with its marks: "+" sub-domains, "-" exception, "=THREAT". Or "!" and the reason.
std::string Reading(LineReader& reader, std::string_view line) {
    std::vector<tagLineItem> items;
    if (const char* szReason = reader.Read(line, items)) return std::string("!") + szReason;
    std::string text;
    for (const auto& item : items) {
        text += (text.empty() ? "" : " ") + std::string(item.text) + (item.bSubdomains ? "+" : "") +
                (item.bException ? "-" : "");
        if (!item.threat.empty()) text += "=" + std::string(item.threat);
    }
    return text;
}

TEST(LineReaderTest, TakesOrRefusesEachLine) {
    const struct {
        ListFormat format;
        const char* szLine;
        const char* szReading;  // of a refusal its beginning
    } rows[] = {
        {ListFormat::Plain, "", ""},
        {ListFormat::Plain, "  # comment", ""},
        {ListFormat::Plain, " a.example\r", "a.example"},
        {ListFormat::Plain, "*.a.example", "*.a.example+"},
        {ListFormat::Plain, ".a.example # why", ".a.example+"},
        {ListFormat::Plain, "http://a.example/p#part", "http://a.example/p#part"},
        {ListFormat::Plain, "a.example b.example", "!has more than one word"},
        {ListFormat::Hosts, "# 0.0.0.0 a.example", ""},
        {ListFormat::Hosts, "0.0.0.0 a.example b.example # both", "a.example b.example"},
        {ListFormat::Hosts, "127.0.0.1\ta.example", "a.example"},
        {ListFormat::Hosts, "::1 ip6-localhost", "ip6-localhost"},
        {ListFormat::Hosts, ":: a.example", "a.example"},
        {ListFormat::Hosts, "fe80::1%lo0 localhost", "localhost"},
        {ListFormat::Hosts, "::ffff:192.0.2.1 nas.example", "!gives its names an address of their own"},
        {ListFormat::Hosts, "0.0.0.0", "!has an address and no name"},
        {ListFormat::Hosts, "a.example", "!does not begin with an address"},
        {ListFormat::Adblock, "[Adblock Plus 2.0]", ""},
        {ListFormat::Adblock, "! comment", ""},
        {ListFormat::Adblock, "||a.example^", "a.example+"},
        {ListFormat::Adblock, "||a.example^|", "a.example+"},
        {ListFormat::Adblock, "||a.example^$all,important", "a.example+"},
        {ListFormat::Adblock, "@@||a.example^$document", "a.example+-"},
        {ListFormat::Adblock, "!#include more.txt", "!is a directive"},
        {ListFormat::Adblock, "||a.example^$third-party", "!has an option"},
        {ListFormat::Adblock, "||a.example^$badfilter", "!has an option"},
        {ListFormat::Adblock, "||a.example", "!has no ^ behind the name"},
        {ListFormat::Adblock, "||a.example$all", "!has no ^ behind the name"},
        {ListFormat::Adblock, "||a.example/banner^", "!is a rule for a path"},
        {ListFormat::Adblock, "||a.example^banner", "!is a rule for a path"},
        {ListFormat::Adblock, "##.ad", "!is a rule for parts of pages"},
        {ListFormat::Adblock, "/banner[0-9]+/", "!is a regular expression"},
        {ListFormat::Adblock, "|http://a.example|", "!is a rule for the beginning"},
        {ListFormat::Adblock, "banner.gif", "!is no rule for a whole name"},
        {ListFormat::Csv, "# comment", ""},
        {ListFormat::Csv, R"("1","d","http://a.example/x","on","","malware","t","l","r")",
         "http://a.example/x=malware"},
        {ListFormat::Csv, R"(1,d,"http://a.example/""x"",y",on,,"",t)", R"(http://a.example/"x",y)"},
        {ListFormat::Csv, R"("1","d")", "!has no column for the URL"},
        {ListFormat::Csv, R"("1","d","http://a.example)", "!has a quote"},
        {ListFormat::Csv, R"("1"x,"d")", "!has a quote"},
    };
    for (const auto& row : rows) {
        LineReader reader(row.format);
        const std::string reading = Reading(reader, row.szLine);
        const bool bRefusal = row.szReading[0] == '!';
        EXPECT_EQ(bRefusal ? reading.substr(0, std::string_view(row.szReading).size()) : reading,
                  row.szReading)
            << row.szLine;
    }
}

TEST(LineReaderTest, FindsCsvColumnsByTheirHeading) {
    const struct {
        const char* szHeading;
        const char* szLine;
        const char* szReading;
    } rows[] = {
        {"# id,dateadded,url,url_status,threat,tags", R"("1","d","http://a.example/","on","trojan","t")",
         "http://a.example/=trojan"},
        {"phish_id,url,phish_detail_url,submission_time,verified,verification_time,online,target",
         R"(7,http://a.example/,l,t,yes,t,yes,"A ""big"" bank")", R"(http://a.example/=A "big" bank)"},
        {"URL,seen", "http://a.example/,now", "http://a.example/"},
    };
    for (const auto& row : rows) {
        LineReader reader(ListFormat::Csv);
        EXPECT_EQ(Reading(reader, row.szHeading), "");
        EXPECT_EQ(Reading(reader, row.szLine), row.szReading);
        // What looks like a heading now is a record, or a comment that changes nothing.
        EXPECT_NE(Reading(reader, "x,y,url,url,z,target,url,url"), "");
        EXPECT_EQ(Reading(reader, "# x,y,z,url"), "");
        EXPECT_EQ(Reading(reader, row.szLine), row.szReading);
    }
}

TEST(LineReaderTest, FormatIsRecognisedByItsLines) {
    const std::pair<const char*, ListFormat> rows[] = {
        {"", ListFormat::Plain},
        {"# names\na.example\nb.example\n", ListFormat::Plain},
        {"http://a.example/?a=1,2\n", ListFormat::Plain},
        {"192.0.2.7 # seen\n192.0.2.8 # seen\n", ListFormat::Plain},
        {"# hosts\n127.0.0.1 localhost\n::1 localhost\n0.0.0.0 a.example\n", ListFormat::Hosts},
        {"! title\n||a.example^\n@@||b.example^\n", ListFormat::Adblock},
        {"[Adblock Plus 2.0]\n-banner-\n/ads/*\n", ListFormat::Adblock},
        {"##.ad\n###top\n||a.example^\n", ListFormat::Adblock},
        {"# id,dateadded,url,url_status\n\"1\",\"d\",\"http://a.example/\",\"on\"\n", ListFormat::Csv},
        {"\"1\",\"d\",\"http://a.example/\",\"on\"\n", ListFormat::Csv},
        {"phish_id,url,target\n1,http://a.example/,x\n", ListFormat::Csv},
    };
    for (const auto& [szText, format] : rows)
        EXPECT_EQ(ListFormatName(GuessListFormat(szText)), ListFormatName(format)) << szText;

    EXPECT_EQ(WhyNoList("a.example\n"), nullptr);
    EXPECT_STREQ(WhyNoList(std::string_view("a\0.example", 10)), "is not text");
    EXPECT_THAT(WhyNoList("\n<!DOCTYPE html>"), HasSubstr("web page"));
}

TEST(LineReaderTest, LinesAreWholeHoweverTheBytesCome) {
    const std::string tooLong(LINE_BYTES_MAX + 1, 'x');
    const std::string text = "a\n\nbc\r\n" + tooLong + "\nlast";
    for (const size_t nPiece : {size_t{1}, size_t{3}, size_t{5000}, text.size()}) {
        LineSplitter splitter;
        std::vector<std::string> lines;
        const auto each = [&lines](std::string_view line, bool bCut) {
            lines.push_back(std::string(line.substr(0, 4)) + (bCut ? " cut" : ""));
            EXPECT_LE(line.size(), LINE_BYTES_MAX);
        };
        for (size_t n = 0; n < text.size(); n += nPiece)
            splitter.Feed(std::string_view(text).substr(n, nPiece), each);
        splitter.Finish(each);
        EXPECT_EQ(lines, (std::vector<std::string>{"a", "", "bc\r", "xxxx cut", "last"})) << nPiece;
    }
}

}  // namespace
