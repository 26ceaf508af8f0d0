// What the daemon would do with a request, and why: its own decision flow judges the request, and then its
// own comparisons are asked about one entry at a time until the one that decided is found.
//
// Works on the policy that is loaded into this process (policy/policy_state.h); one thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ctl/findings.h"
#include "ctl/request_of_url.h"
#include "inspect/web_request.h"

struct tagExplanation {
    bool bBlocked;
    std::string checkURL;  // what the lists were compared with; empty when nothing was judged
    std::string check;     // in words: which check decided
    std::string list;      // which list or table the entry stands in; empty without one
    std::string entry;     // the deciding entry as the daemon holds it; may be empty
    std::optional<tagThreatFinding> threat;    // the finding that decided, or was lifted
    std::vector<tagFoundCategory> categories;  // that the look-up gave
    std::vector<std::string> notes;            // whole sentences
};

// The request for the URL, sent to a server with these addresses (network order; none: the name does not
// resolve, which for an FTP server throws CtlError).
tagExplanation ExplainRequest(const tagURLParts& url, const std::vector<uint32_t>& addresses);

// Fills check, list, entry and threat for a request that was judged.
void FindDecidingEntry(const tagWebRequest& request, tagExplanation& explanation);

// The first excluded range that takes in the address (network order), as text; empty when there is none.
std::string FindExcludedRange(uint32_t nAddress);
