// Stand-ins for everything that the decision flow asks beyond the process: the scanner, the engine library,
// the category server, the settings store, both report stores and the reset. They answer as told and write
// down what they were asked, in one order for all. One thread.
#pragma once

#include <cstdint>
#include <string>

#include "policy/client_settings.h"

enum : unsigned { FOUND_PHISHING = 1, FOUND_HARMFUL = 2 };

// What both reports of one block told.
struct tagRecordedReports {
    uint32_t nResult;    // by the typed record's type or field
    uint32_t nCategory;  // of the client record
    std::u16string text, name, clientName, threat;
};

struct tagFlowRecorder {
    // p and b the phishing and the harmful-site scan; c, k and s the category look-up by the two functions of
    // the library and by the server; l the settings; R and r the typed and the client report; X the reset
    // while the verdict still stood at accept, ! any other.
    std::string trace;
    std::string scannedURL;  // by the last phishing scan
    tagRecordedReports reports;

    unsigned nFindings;  // what the scanner says; a harmful site is called Threat.A
    int nCategory;       // what a look-up finds, in the library behind a 17; negative: it fails
    void (*pfnSettings)(tagClientSettingData& settings);  // fills them in; null: the fetch fails
};
extern tagFlowRecorder g_Flow;

// Puts the stand-ins that the daemon knows by pointers into their places, and takes them out again. The
// others take their places when the program is linked. The server's ids are the policy's plus 1000.
void BindRecorder();
void UnbindRecorder();
