#include "category/translate.h"

#include <glob.h>
#include <libintl.h>
#include <locale.h>
#include <pthread.h>

#include <algorithm>

#include "category/catalogue_file.h"
#include "common/cancellation_off.h"
#include "common/product_paths.h"

namespace {

constexpr char TEXT_DOMAIN[] = "lang";

pthread_once_t g_SetUpOnce = PTHREAD_ONCE_INIT;

// Whatever language is asked for, none of the catalogues may harm.
bool AreCataloguesSound() {
    glob_t found{};
    bool bSound = true;
    if (glob(PRODUCT_DIR "translation/*/LC_MESSAGES/lang.mo", GLOB_NOSORT, nullptr, &found) == 0) {
        bSound = std::all_of(found.gl_pathv, found.gl_pathv + found.gl_pathc,
                             [](const char* szPath) { return IsSoundCatalogue(szPath) == 1; });
    }
    globfree(&found);
    return bSound;
}

// Where the locale is not installed the process stays in "C", in which gettext answers every key with itself;
// so it does without a catalogue.
void SetUpTranslation() {
    setlocale(LC_ALL, "en_US.utf8");
    if (!AreCataloguesSound()) return;
    bindtextdomain(TEXT_DOMAIN, TRANSLATION_DIR);
    bind_textdomain_codeset(TEXT_DOMAIN, "utf-8");
}

}  // namespace

// The first lookup reads files under locks of the C library: a worker must not be cancelled there.
const char* TranslateText(const char* szKey) {
    const CancellationOff cancellationOff;
    pthread_once(&g_SetUpOnce, SetUpTranslation);
    return dgettext(TEXT_DOMAIN, szKey);
}
