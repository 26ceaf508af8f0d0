#include "policy/addr_match.h"

#include <atomic>
#include <string_view>

#include "common/ascii.h"
#include "common/cancellation_off.h"
#include "policy/list_index.h"
#include "policy/policy_state.h"
#include "policy/settings_load.h"
#include "policy/worker_pause_hook.h"
#include "service/service_config.h"

namespace {

void LoadSettingsForFirstFTPMatch();
bool AddrMatches(std::string_view entry, const tagWebRequest& request);

}  // namespace

int MatchAddrList(tagWebRequest* pRequest) {
    if (pRequest->nProtocol == PROTO_FTP && std::atomic_ref(g_bFirstFTPAddrMatch).load() == 1) {
        LoadSettingsForFirstFTPMatch();
    }

    const bool bAllow = pRequest->bAllowListPass == 1;
    if (FirstAddrEntry(*pRequest, bAllow ? g_pAllowAddrList : g_pBlockAddrList)) {
        pRequest->nResult = bAllow ? RESULT_ALLOW_HOST : RESULT_BLOCK_HOST;
    }
    return 0;
}

const tagListEntry* FirstAddrEntry(const tagWebRequest& request, const tagListEntry* pList) {
    if (const tagListIndex* pIndex = IndexOf(pList, RULES_ADDR)) {
        return request.nProtocol == PROTO_FTP ? FindAddressWithin(*pIndex, request.szCheckURL)
                                              : FindAddress(*pIndex, request.szCheckURL);
    }
    while (pList && !AddrMatches(pList->szEntry, request))
        pList = pList->pNext;
    return pList;
}

namespace {

// Must not be cancelled half-way: it holds other workers' locks and lists in the making. With live traffic
// one worker makes the new policy, and the others go on meanwhile with the lists that they have; without,
// they are kept out until it is there.
void LoadSettingsForFirstFTPMatch() {
    const CancellationOff cancellationOff;
    const bool bBeside = g_bLiveTraffic == 1;
    tagPolicy policy = {};
    if (bBeside) {
        if (std::atomic_ref(g_bFirstFTPAddrMatch).exchange(0) != 1) return;
        (void)MakePolicy(policy);
    }
    if (g_pfnPauseWorkersFromWorker) g_pfnPauseWorkersFromWorker();
    // The own lock was given up on the way: another worker may have come first.
    if (!bBeside && g_bFirstFTPAddrMatch == 1) {
        (void)MakePolicy(policy);
        g_bFirstFTPAddrMatch = 0;
    }
    PutPolicyInForce(policy);
    if (g_pfnResumeWorkersFromWorker) g_pfnResumeWorkersFromWorker();
    FreePolicy(policy);
}

bool AddrMatches(std::string_view entry, const tagWebRequest& request) {
    if (request.nProtocol == PROTO_FTP)
        return FindNoCase(request.szCheckURL, entry) != std::string_view::npos;
    return EqualNoCase(request.szCheckURL, entry);
}

}  // namespace
