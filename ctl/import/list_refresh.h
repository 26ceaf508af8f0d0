// Telling the running programs that the lists in force have changed.
#pragma once

#include <string>

#include "ctl/output.h"

// Makes the daemon open its lists anew and waits for it, tells every running category server, adds "refresh"
// to the document and lines to the text, and prints both. Throws CtlError, with the answer printed, when one
// of them could not be told; the change is in force for the next start then.
void PrintListChange(Json document, std::string text);
