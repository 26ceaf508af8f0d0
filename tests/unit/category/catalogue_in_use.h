// Points the lookups at a catalogue of this build, or at none, while it lives. The locale is one that every
// system has; gettext takes the language from LANGUAGE then.
#pragma once

#include <libintl.h>
#include <locale.h>
#include <stdlib.h>

#include "category/translate.h"

class CatalogueInUse {
  public:
    explicit CatalogueInUse(const char* szLanguage, const char* szDir = CATALOGUE_DIR) {
        TranslateText("Blocked");  // its own set-up first, so that it does not undo this one
        setlocale(LC_ALL, "C.utf8");
        setenv("LANGUAGE", szLanguage, 1);
        bindtextdomain("lang", szDir);
    }
    ~CatalogueInUse() {
        unsetenv("LANGUAGE");
        bindtextdomain("lang", "/nonexistent");
    }
    CatalogueInUse(const CatalogueInUse&) = delete;
    CatalogueInUse& operator=(const CatalogueInUse&) = delete;
};

inline CatalogueInUse NoCatalogue() {
    return CatalogueInUse("en_US.utf8", "/nonexistent");
}
