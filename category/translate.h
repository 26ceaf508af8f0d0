// Texts for people: message keys looked up in the "lang" catalogue (GNU gettext, "Triggers of Gettext
// Operation" and binary MO files in its manual).
#pragma once

// The translation of szKey, or szKey itself when the catalogue has none. The text belongs to gettext and is
// not freed. Any thread; the locale and the catalogue's place are set up once, by the first call.
const char* TranslateText(const char* szKey);
