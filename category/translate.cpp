#include "category/translate.h"

#include <dirent.h>
#include <libintl.h>
#include <limits.h>
#include <locale.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "category/catalogue_file.h"
#include "common/cancellation_off.h"
#include "common/product_paths.h"

namespace {

constexpr char TEXT_DOMAIN[] = "lang";

pthread_once_t g_SetUpOnce = PTHREAD_ONCE_INIT;

// Whether the catalogue of this locale is missing or sound.
bool IsHarmless(const char* szLocale) {
    char szPath[PATH_MAX];
    const int nLength =
        std::snprintf(szPath, sizeof szPath, "%s/%s/LC_MESSAGES/lang.mo", TRANSLATION_DIR, szLocale);
    if (nLength < 0 || static_cast<size_t>(nLength) >= sizeof szPath) return false;
    return access(szPath, F_OK) != 0 || IsSoundCatalogue(szPath) == 1;
}

// Whatever language is asked for, none of the catalogues may harm. Not by glob: the C library's (2.36) frees
// twice when it gets no memory for what it has found.
bool AreCataloguesSound() {
    DIR* pFolder = opendir(TRANSLATION_DIR);
    if (!pFolder) return errno == ENOENT;
    bool bSound = true;
    while (const dirent* pEntry = bSound ? readdir(pFolder) : nullptr)
        bSound = pEntry->d_name[0] == '.' || IsHarmless(pEntry->d_name);
    closedir(pFolder);
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
