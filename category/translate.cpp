#include "category/translate.h"

#include <libintl.h>
#include <locale.h>
#include <pthread.h>

#include "common/cancellation_off.h"
#include "common/product_paths.h"

namespace {

constexpr char TEXT_DOMAIN[] = "lang";

pthread_once_t g_SetUpOnce = PTHREAD_ONCE_INIT;

// Where the locale is not installed the process stays in "C", in which gettext answers every key with itself.
void SetUpTranslation() {
    setlocale(LC_ALL, "en_US.utf8");
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
