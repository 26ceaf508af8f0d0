// Hostile lists: the first byte chooses the format, the rest is the file, cut into lines as an import does.
#include <cstdint>
#include <cstdlib>

#include "ctl/import/line_reader.h"
#include "ctl/import/line_splitter.h"
#include "ctl/import/list_format.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    if (nSize == 0) return 0;
    const std::string_view text(reinterpret_cast<const char*>(pData + 1), nSize - 1);
    (void)WhyNoList(text);
    (void)GuessListFormat(text);
    LineReader reader(static_cast<ListFormat>(pData[0] % 4));
    LineSplitter splitter;
    std::vector<tagLineItem> items;
    size_t nBytes = 0;
    const auto each = [&](std::string_view line, bool) {
        const char* szReason = reader.Read(line, items);
        if (szReason && (szReason[0] == '\0' || !items.empty())) std::abort();
        for (const tagLineItem& item : items)
            nBytes += item.text.size() + item.threat.size();  // reads the texts' bounds
    };
    splitter.Feed(text, each);
    splitter.Finish(each);
    if (nBytes > nSize) std::abort();
    return 0;
}
