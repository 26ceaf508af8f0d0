#include "policy/list_resolve.h"

#include <netdb.h>

#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>

#include "common/copy_text.h"
#include "policy/ask_names.h"
#include "policy/list_entry.h"

namespace {

constexpr size_t NUMERIC_TEXT_BYTES = 1025;

int DeriveFrom(const tagListEntry* pList, bool bURLs, tagListEntry** ppAddrs);
size_t GatherNames(const tagListEntry* pList, bool bURLs, tagNameQuestion* pQuestions);
int AppendAnswers(std::span<const tagNameQuestion> questions, bool bURLs, tagListEntry** ppAddrs);
int AppendAddress(const addrinfo& address, std::string_view path, tagListEntry** ppAddrs);

}  // namespace

int ResolveHostList(const tagListEntry* pHosts, tagListEntry** ppAddrs) {
    return DeriveFrom(pHosts, false, ppAddrs);
}

int ResolveURLList(const tagListEntry* pURLs, tagListEntry** ppAddrs) {
    return DeriveFrom(pURLs, true, ppAddrs);
}

namespace {

int DeriveFrom(const tagListEntry* pList, bool bURLs, tagListEntry** ppAddrs) {
    if (!pList) return 2;
    const size_t nNames = GatherNames(pList, bURLs, nullptr);
    if (nNames == 0) return 0;
    auto* pQuestions = static_cast<tagNameQuestion*>(std::calloc(nNames, sizeof(tagNameQuestion)));
    int nResult = 1;
    if (pQuestions) {
        (void)GatherNames(pList, bURLs, pQuestions);
        const std::span questions(pQuestions, nNames);
        nResult = AppendAnswers(questions.first(AskNames(questions, !bURLs)), bURLs, ppAddrs);
        FreeAnswers(questions);
        std::free(pQuestions);
    }
    return nResult;
}

// Counts the names that are asked for; puts them down where pQuestions is given. Of a URL it is what stands
// before its path.
size_t GatherNames(const tagListEntry* pList, bool bURLs, tagNameQuestion* pQuestions) {
    size_t nNames = 0;
    for (; pList; pList = pList->pNext) {
        const std::string_view entry(pList->szEntry);
        if (bURLs && entry.find('/') == std::string_view::npos) continue;
        if (pQuestions) pQuestions[nNames].name = bURLs ? entry.substr(0, entry.find('/')) : entry;
        ++nNames;
    }
    return nNames;
}

// 0, or 1 when memory runs out.
int AppendAnswers(std::span<const tagNameQuestion> questions, bool bURLs, tagListEntry** ppAddrs) {
    for (const tagNameQuestion& question : questions) {
        // The name is the head of its entry's text.
        const char* szPath = bURLs ? question.name.data() + question.name.size() : "";
        for (const addrinfo* pAddress = question.pAnswer; pAddress; pAddress = pAddress->ai_next) {
            if (AppendAddress(*pAddress, szPath, ppAddrs) != 0) return 1;
        }
    }
    return 0;
}

// 0, also for an address without a numeric text, or -1 when memory ran out.
int AppendAddress(const addrinfo& address, std::string_view path, tagListEntry** ppAddrs) {
    char szNumeric[NUMERIC_TEXT_BYTES];
    if (getnameinfo(address.ai_addr, address.ai_addrlen, szNumeric, sizeof szNumeric, nullptr, 0,
                    NI_NUMERICHOST) != 0) {
        return 0;
    }
    char szText[sizeof tagListEntry::szEntry];
    (void)CopyText(szText, szNumeric);
    const size_t nLength = std::strlen(szText);
    return AppendListText(ppAddrs,
                          {szText, nLength + path.copy(szText + nLength, sizeof szText - 1 - nLength)});
}

}  // namespace
