// What the URL scanner and the category back end say about a request that was judged, beyond the check that
// decided: also what a trusted or an allowed entry lifted, and what is in the way of an answer.
//
// Works on the policy, the scanner and the engine that are loaded into this process; one thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inspect/web_request.h"

struct tagThreatFinding {
    bool bHarmful;       // else phishing
    bool bByScanner;     // else by the category engine
    bool bListed;        // the imported list of its kind holds the URL
    std::string threat;  // its name; empty when nobody tells one
};

struct tagFoundCategory {
    std::string name;  // with its number, "Games (50)"
    bool bBlocked;
    uint8_t nReal;  // its real id, or NO_CATEGORY
};

// The finding for a request that was blocked, or passed, after one: nResult is RESULT_FRAUDULENT,
// RESULT_HARMFUL, RESULT_SCAN_TRUSTED, or RESULT_EXCLUDED by a trusted site.
tagThreatFinding FindThreat(const tagWebRequest& request);

// A line for people.
std::string DescribeThreat(const tagThreatFinding& finding);

// The request's categories as the look-up answered, in its order; none when an earlier check decided. Adds a
// sentence when there was no answer, and when a category is blocked that the user did not block.
std::vector<tagFoundCategory> FindRequestCategories(const tagWebRequest& request,
                                                    std::vector<std::string>& notes);

// A sentence for each protection that is off, and for each that is on and cannot work.
void NoteMissingProtections(std::vector<std::string>& notes);

// A category by the number that the engine library or the category server gave it.
std::string CategoryLabel(uint32_t nCategory);
