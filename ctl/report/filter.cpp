#include "ctl/report/filter.h"

#include <vector>

#include "ctl/output.h"
#include "ctl/report/reason.h"
#include "ctl/time_argument.h"

namespace {

std::string ReasonNames(uint32_t nResultMask);

}  // namespace

tagReportFilter FilterOf(const tagReportChoice& choice) {
    if (choice.nUntil != 0 && choice.nSince >= choice.nUntil) {
        throw CtlError("refused: --since is no earlier than --until; nothing lies between them");
    }
    tagReportFilter filter;
    filter.nFrom = choice.nSince;
    filter.nUntil = choice.nUntil;
    if (choice.user) filter.szUser = choice.user->c_str();
    if (choice.host) filter.szHost = choice.host->c_str();
    filter.nResultMask = choice.nResultMask;
    filter.nLimit = choice.nLimit;
    return filter;
}

std::string DescribeChoice(const tagReportChoice& choice) {
    std::vector<std::string> parts;
    if (choice.nSince != 0) parts.push_back("since " + LocalTimeText(choice.nSince));
    if (choice.nUntil != 0) parts.push_back("until " + LocalTimeText(choice.nUntil));
    if (choice.user) parts.push_back("user " + *choice.user);
    if (choice.host) parts.push_back("host " + *choice.host);
    if (choice.nResultMask != 0) parts.push_back("reason " + ReasonNames(choice.nResultMask));
    return Joined(parts, ", ");
}

namespace {

std::string ReasonNames(uint32_t nResultMask) {
    std::string names, previous;
    for (uint32_t nResult = 0; nResult < 32; ++nResult) {
        if ((nResultMask >> nResult & 1) == 0 || ReasonName(nResult) == previous) continue;
        previous = ReasonName(nResult);
        names += (names.empty() ? "" : " or ") + previous;
    }
    return names;
}

}  // namespace
