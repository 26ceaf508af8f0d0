#include "ctl/explanation.h"

#include <linux/netfilter.h>

#include <memory>

#include "ctl/output.h"
#include "inspect/decision_flow.h"

namespace {

bool PassesByRange(const std::vector<uint32_t>& addresses, tagExplanation& explanation);
void PassUnjudged(const char* szWhy, tagExplanation& explanation);

}  // namespace

tagExplanation ExplainRequest(const tagURLParts& url, const std::vector<uint32_t>& addresses) {
    if (url.scheme == "ftp" && addresses.empty()) {
        throw CtlError("refused: " + Quoted(url.host) +
                       " does not resolve, and of an FTP server only the address is seen");
    }
    tagExplanation explanation{};
    if (addresses.empty()) {
        explanation.notes.push_back(Quoted(url.host) + " does not resolve; excluded ranges are left out");
    }
    if (PassesByRange(addresses, explanation)) return explanation;

    const auto pRequest = std::make_unique<tagWebRequest>();
    tagWebRequest& request = *pRequest;
    if (!BuildRequest(url, addresses.empty() ? 0 : addresses[0], request)) {
        PassUnjudged("not judged: no request that is looked at", explanation);
        return explanation;
    }
    if (url.scheme == "http" && request.nProtocol == PROTO_FTP) {
        explanation.notes.push_back("it holds CWD or RETR and is taken for an FTP command");
    }
    explanation.bBlocked = JudgeRequest(request) == NF_DROP;
    explanation.checkURL = request.szCheckURL;
    if (explanation.checkURL.empty()) {
        PassUnjudged("not judged: this host itself (http://localhost/)", explanation);
        return explanation;
    }
    FindDecidingEntry(request, explanation);
    explanation.categories = FindRequestCategories(request, explanation.notes);
    NoteMissingProtections(explanation.notes);
    return explanation;
}

namespace {

bool PassesByRange(const std::vector<uint32_t>& addresses, tagExplanation& explanation) {
    size_t nExcluded = 0;
    for (const uint32_t nAddress : addresses) {
        const std::string range = FindExcludedRange(nAddress);
        if (range.empty()) continue;
        ++nExcluded;
        explanation.list = "excluded ranges";
        explanation.entry = range;
    }
    if (nExcluded == 0) return false;
    if (nExcluded == addresses.size()) {
        explanation.check = "excluded range of addresses";
        return true;
    }
    explanation.notes.push_back("some of its addresses lie in the excluded range " + explanation.entry +
                                " and pass; the others are judged as told here");
    explanation.list.clear();
    explanation.entry.clear();
    return false;
}

void PassUnjudged(const char* szWhy, tagExplanation& explanation) {
    explanation.bBlocked = false;
    explanation.check = szWhy;
}

}  // namespace
