#include "policy/data_file_lists.h"

#include "common/product_paths.h"
#include "policy/pattern_index.h"
#include "policy/policy_state.h"
#include "policy/range_index.h"
#include "policy/url_scanner.h"

namespace {

void FreeTables();

}  // namespace

void LoadDataFileLists() {
    LoadURLScanner();
    LoadTables({EXCLUSION_PATTERN_FILE, EXCLUDED_RANGE_FILE, TRUSTED_PATTERN_FILE});
}

void FreeDataFileLists() {
    (void)UnloadURLScanner();
    FreeTables();
}

void LoadTables(const tagTableFiles& files) {
    FreeTables();
    // A reader that fails leaves its table empty: requests are then judged without it.
    (void)ReadPatternFile(files.szExclusionPatterns, &g_ExclusionPatterns);
    (void)ReadAddrRangeFile(files.szExcludedRanges, &g_ExcludedRanges);
    (void)ReadPatternFile(files.szTrustedPatterns, &g_TrustedURLPatterns);
    IndexPatterns(g_ExclusionPatterns, true);
    IndexRanges(g_ExcludedRanges);
    IndexPatterns(g_TrustedURLPatterns, false);
}

namespace {

void FreeTables() {
    DropPatternIndex(g_ExclusionPatterns);
    FreePatternTable(g_ExclusionPatterns);
    DropRangeIndex(g_ExcludedRanges);
    FreeAddrRangeTable(g_ExcludedRanges);
    DropPatternIndex(g_TrustedURLPatterns);
    FreePatternTable(g_TrustedURLPatterns);
}

}  // namespace
