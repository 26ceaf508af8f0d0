// From the files of the command line to the names in them: folders, archives, formats, lines, admission.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ctl/import/import_tally.h"
#include "ctl/import/line_reader.h"
#include "modules/urlmap/url_expressions.h"

// Who gets the names.
class NameTaker {
  public:
    virtual ~NameTaker() = default;
    // Called before the names of a file of a category folder (its last part: "gambling"), and with an empty
    // text before those of another file. Null, or why it is not read (completes "since it ...").
    virtual const char* Enter(const std::string& folder) = 0;
    // A name that may stand in a list, in its canonical form. Null, or why it is not taken.
    virtual const char* Take(const tagLineItem& item, const tagCanonicalURL& url) = 0;
};

// Reads them in their order; a folder or an archive gives the files "domains" and "urls" of the category
// folders in it, an archive also members that are named like lists. Without a format each file's own is
// guessed; those of category folders are plain. Whatever is not taken goes to the tally.
// Throws CtlError for what cannot be read: then no part of the import may hold.
void ReadLists(const std::vector<std::string>& files, std::optional<ListFormat> format, NameTaker& taker,
               ImportTally& tally);
