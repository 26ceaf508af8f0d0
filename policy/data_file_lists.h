// What the product's update process supplies: the reputation scanner and the three built-in tables of
// policy/policy_state.h.
//
// Loaded on the main thread at start-up, freed and loaded again on refresh with all workers kept out, freed
// at the end.
#pragma once

// Where the tables are read from.
struct tagTableFiles {
    const char* szExclusionPatterns;
    const char* szExcludedRanges;
    const char* szTrustedPatterns;
};

// Loads the scanner plug-in, then the tables from the product's files. Whatever is missing or damaged stays
// off or empty.
void LoadDataFileLists();

// Unloads the scanner plug-in (which may refuse) and empties the tables. Safe when nothing is loaded.
void FreeDataFileLists();

// The tables alone: each is emptied and read; one whose file cannot be used stays empty.
void LoadTables(const tagTableFiles& files);
