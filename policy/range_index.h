// What answers for a table of address ranges without walking it: its ranges in the order of their addresses,
// those that meet made one.
//
// Made when the table is loaded, freed before it, read by any worker in between.
#pragma once

#include <cstdint>

#include "policy/data_file.h"

// Makes the index of a table that has none. When memory runs out, the table goes without and is walked.
void IndexRanges(tagAddrRangeTable& table);

// Frees the table's index. Safe without one.
void DropRangeIndex(tagAddrRangeTable& table);

// Whether the address, a number in host order, lies in one of the ranges, bounds included.
bool IsInRanges(const tagAddrRangeTable& table, uint32_t nAddress);
