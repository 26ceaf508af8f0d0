// What answers for a finished list without walking it: an index of its texts, made for one set of matching
// rules and kept beside the chain until the chain is changed or freed. Its answer is the walk's: the first
// entry in order that matches.
//
// Made by whoever makes the list, read by any worker; policy/policy_state.h says what keeps them apart.
#pragma once

#include <cstdint>
#include <string_view>

#include "policy/policy_state.h"

// nRules: how an entry matches
enum : uint8_t {
    RULES_HOST = 1,  // as MatchHostList compares
    RULES_URL = 2,   // as MatchURLList compares
    RULES_ADDR = 3,  // as MatchAddrList compares
};

// Makes the index of a list that AppendListEntry has made; it takes the place of an earlier one. A list of
// another origin, or one for whose index memory runs out, goes without and is walked.
void IndexList(tagListEntry* pList, uint8_t nRules);

// Frees the index of that list. Safe without one.
void DropListIndex(tagChain& chain);

// The index for these rules of the list with this first node; null: there is none, walk.
const tagListIndex* IndexOf(const tagListEntry* pList, uint8_t nRules);

// The first entry that matches, or null. The index is one for hosts, URLs or addresses.
const tagListEntry* FindHost(const tagListIndex& index, std::string_view host);
const tagListEntry* FindURL(const tagListIndex& index, std::string_view url);
// Equal to the URL, or contained in it; of this one only the first HASHED_TEXT_MAX bytes are looked at.
const tagListEntry* FindAddress(const tagListIndex& index, std::string_view url);
const tagListEntry* FindAddressWithin(const tagListIndex& index, std::string_view url);
