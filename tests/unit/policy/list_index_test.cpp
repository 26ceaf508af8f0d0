// The index of a list or table against the walk over it: random lists and requests over a small alphabet, so
// that hits, near misses and doubles are frequent. Both must find the same entry and leave the same record
// behind.
#include "policy/list_index.h"

#include <arpa/inet.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "policy/addr_match.h"
#include "policy/list_match.h"
#include "policy/pattern_index.h"
#include "policy/pattern_match.h"
#include "policy/range_index.h"
#include "tests/support/policy_fixture.h"

namespace {

constexpr int ROUNDS = 4000;
constexpr int REQUESTS_A_ROUND = 4;
constexpr int CHECKS = 5;

// What the lists and checks answer to one request.
struct tagAnswer {
    std::vector<long> places;  // number of the first entry that matches, list by list
    int nResults[CHECKS];
    tagWebRequest after[CHECKS];
};

class ListIndexTest : public PolicyTest {
  protected:
    void SetUp() override {
        g_bCustomBlockList = 1;
        g_bFirstFTPAddrMatch = 0;
    }
    void TearDown() override {
        FreeTables();
        PolicyTest::TearDown();
    }

    static void FreeTables() {
        DropRangeIndex(g_ExcludedRanges);
        FreeAddrRangeTable(g_ExcludedRanges);
        for (tagPatternTable* pTable : {&g_ExclusionPatterns, &g_TrustedURLPatterns}) {
            DropPatternIndex(*pTable);
            FreePatternTable(*pTable);
        }
    }

    size_t Below(size_t nBound) { return m_random() % nBound; }

    std::string RandomText(size_t nPiecesMax) {
        static const std::string PIECES[] = {
            "a", "b", "A", ".", "/", "www.", "WwW.", ".www.", "?", "#", "\xC4", "a.b", std::string(70, 'a')};
        std::string text;
        for (size_t n = Below(nPiecesMax + 1); n > 0; --n)
            text += PIECES[std::min(Below(15), Below(15)) % std::size(PIECES)];
        return text;
    }

    void FillAtRandom() {
        TearDown();
        SetUp();
        for (const auto& list : LISTS) {
            for (size_t n = Below(10); n > 0; --n)
                CopyText(AppendListEntry(list.ppHead)->szEntry, RandomText(5));
        }
        for (tagPatternTable* pTable : {&g_ExclusionPatterns, &g_TrustedURLPatterns}) {
            pTable->nCount = static_cast<uint32_t>(Below(10));
            pTable->pPatterns = static_cast<char(*)[PATTERN_BYTES]>(std::calloc(10, PATTERN_BYTES));
            for (uint32_t n = 0; n < pTable->nCount; ++n)
                CopyText(pTable->pPatterns[n], (Below(2) == 0 ? "*" : "") + RandomText(4));
        }
        g_ExcludedRanges = {static_cast<uint16_t>(Below(10)),
                            static_cast<tagAddrRange*>(std::calloc(10, sizeof(tagAddrRange)))};
        for (uint32_t n = 0; n < g_ExcludedRanges.nCount; ++n)
            g_ExcludedRanges.pRanges[n] = {RandomAddress(), ~htonl(static_cast<uint32_t>(Below(8)))};
    }

    // Some at either end of all addresses.
    uint32_t RandomAddress() { return static_cast<uint32_t>(Below(64)) - 32; }

    tagWebRequest RandomRequest() {
        tagWebRequest request = {};
        request.nProtocol = static_cast<uint8_t>(PROTO_HTTP + Below(3));
        request.bIsIPHost = static_cast<uint8_t>(Below(2));
        request.nResult = Below(2) == 0 ? RESULT_NONE : RESULT_CATEGORY;
        CopyText(request.szHost, RandomText(5));
        CopyText(request.szCheckURL, Below(2) == 0 ? RandomText(8) : request.szHost + ("/" + RandomText(4)));
        return request;
    }

    static long PlaceOf(const tagListEntry* pList, const tagListEntry* pFound) {
        for (long n = 0; pList; ++n, pList = pList->pNext) {
            if (pList == pFound) return n;
        }
        return -1;
    }

    static void Ask(const tagWebRequest& request, uint32_t nAddress, tagAnswer& answer) {
        const char* szURL = request.szCheckURL;
        answer.places = {IsInRanges(g_ExcludedRanges, nAddress) ? 0 : -1,
                         FirstPattern(g_ExclusionPatterns, szURL, true),
                         FirstPattern(g_TrustedURLPatterns, szURL, false)};
        for (const auto& list : LISTS) {
            const tagListEntry* pList = *list.ppHead;
            const tagListEntry* pFound = list.nRules == RULES_HOST  ? FirstHostEntry(request.szHost, pList)
                                         : list.nRules == RULES_URL ? FirstURLEntry(szURL, pList)
                                                                    : FirstAddrEntry(request, pList);
            answer.places.push_back(PlaceOf(pList, pFound));
        }
        int (*const checks[CHECKS])(tagWebRequest*) = {CheckExclusionList, CheckTrustedURLs,
                                                       CheckTrustedSites, CheckBlockLists, CheckAllowLists};
        for (int n = 0; n < CHECKS; ++n) {
            answer.after[n] = request;
            answer.nResults[n] = checks[n](&answer.after[n]);
        }
    }

    static constexpr struct {
        tagListEntry** ppHead;
        uint8_t nRules;
    } LISTS[] = {{&g_pAllowHostList, RULES_HOST},  {&g_pBlockHostList, RULES_HOST},
                 {&g_pAllowURLList, RULES_URL},    {&g_pBlockURLList, RULES_URL},
                 {&g_pTrustedSiteList, RULES_URL}, {&g_pAllowAddrList, RULES_ADDR},
                 {&g_pBlockAddrList, RULES_ADDR}};
    std::mt19937 m_random{20261123};
};

TEST_F(ListIndexTest, FindsWhatTheWalkFinds) {
    const auto requests = std::make_unique<tagWebRequest[]>(REQUESTS_A_ROUND);
    uint32_t addresses[REQUESTS_A_ROUND];
    const auto walked = std::make_unique<tagAnswer[]>(REQUESTS_A_ROUND);
    const auto indexed = std::make_unique<tagAnswer>();
    std::vector<int> hits(10);
    for (int nRound = 0; nRound < ROUNDS; ++nRound) {
        FillAtRandom();
        for (int n = 0; n < REQUESTS_A_ROUND; ++n) {
            requests[n] = RandomRequest();
            addresses[n] = RandomAddress();
            Ask(requests[n], addresses[n], walked[n]);
        }
        for (const auto& list : LISTS)
            IndexList(*list.ppHead, list.nRules);
        IndexPatterns(g_ExclusionPatterns, true);
        IndexPatterns(g_TrustedURLPatterns, false);
        IndexRanges(g_ExcludedRanges);
        for (int n = 0; n < REQUESTS_A_ROUND; ++n) {
            Ask(requests[n], addresses[n], *indexed);
            SCOPED_TRACE(requests[n].szHost + std::string(" ") + requests[n].szCheckURL + " " +
                         std::to_string(addresses[n]));
            ASSERT_EQ(walked[n].places, indexed->places);
            ASSERT_EQ(std::memcmp(walked[n].nResults, indexed->nResults, sizeof indexed->nResults), 0);
            ASSERT_EQ(std::memcmp(walked[n].after, indexed->after, sizeof indexed->after), 0);
            for (size_t i = 0; i < hits.size(); ++i)
                hits[i] += static_cast<int32_t>(indexed->places[i]) >= 0;
        }
    }
    for (const int nHits : hits) {
        EXPECT_GT(nHits, ROUNDS * REQUESTS_A_ROUND / 50);
        EXPECT_LT(nHits, ROUNDS * REQUESTS_A_ROUND / 2);
    }
}

// An index stands for its list as it was: one that was changed is walked.
TEST_F(ListIndexTest, ChangedListsAreWalked) {
    FillList(g_pBlockHostList, {"a.example", "www.b.example"});
    EXPECT_EQ(IndexOf(g_pBlockHostList, RULES_HOST), nullptr);
    IndexList(g_pBlockHostList, RULES_HOST);
    EXPECT_NE(IndexOf(g_pBlockHostList, RULES_HOST), nullptr);
    EXPECT_EQ(FirstURLEntry("www.b.example", g_pBlockHostList), g_pBlockHostList->pNext) << "other rules";

    FillList(g_pBlockHostList, {"c.example"});
    EXPECT_EQ(FirstHostEntry("c.example", g_pBlockHostList), g_pBlockHostList->pNext->pNext);
}

}  // namespace
