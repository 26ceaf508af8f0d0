// A settings module that makes use of what the daemon offers to its plug-ins: asked for the settings, it
// looks the utility functions up by plain name, calls them, and writes for each whether it did as it should.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "common/byte_search.h"
#include "common/crc32.h"
#include "common/dynamic_library.h"
#include "common/export.h"
#include "common/files.h"
#include "common/narrow_string.h"
#include "common/nibble_swap.h"
#include "common/paths.h"
#include "common/profile.h"
#include "common/service_control.h"
#include "common/system_time.h"
#include "common/text_convert.h"
#include "common/wide_string.h"
#include "policy/client_settings.h"
#include "policy/data_file.h"

// The function of that name as the dynamic linker finds it in the process.
#define OFFERED(name) reinterpret_cast<decltype(&name)>(pSymbol)

namespace {
struct tagProbe {
    const char* szName;
    bool (*isRight)(void* pSymbol);
};

constexpr tagProbe PROBES[] = {
    {"my_wcslen",
     [](void* pSymbol) { return OFFERED(my_wcslen)(u"abc") == 3 && OFFERED(my_wcslen)(nullptr) == 0; }},
    {"my_wcsicmp",
     [](void* pSymbol) {
         return OFFERED(my_wcsicmp)(u"@a", u"`A") == 0 && OFFERED(my_wcsicmp)(nullptr, u"") == 1;
     }},
    {"my_wcsstr",
     [](void* pSymbol) {
         static const char16_t wszText[] = u"bab";
         return OFFERED(my_wcsstr)(wszText, u"a") == wszText + 1 && !OFFERED(my_wcsstr)(nullptr, u"a");
     }},
    {"my_wcsncpy",
     [](void* pSymbol) {
         char16_t wszCopy[8] = u"-------";
         return OFFERED(my_wcsncpy)(wszCopy, u"abcdef", 3) == wszCopy &&
                std::u16string_view(wszCopy) == u"abc" && !OFFERED(my_wcsncpy)(nullptr, u"", 1);
     }},
    {"CopySZToWSZ",
     [](void* pSymbol) {
         char16_t wszWide[4] = {};
         return OFFERED(CopySZToWSZ)(wszWide, "\xE9") == wszWide && wszWide[0] == 0xFFE9 &&
                !OFFERED(CopySZToWSZ)(wszWide, nullptr);
     }},
    {"TrimLeft",
     [](void* pSymbol) {
         char szText[] = " \ta ";
         return std::string_view(OFFERED(TrimLeft)(szText)) == "a " && !OFFERED(TrimLeft)(nullptr);
     }},
    {"my_strnicmp", [](void* pSymbol) { return OFFERED(my_strnicmp)("ABx", "aby", 2) == 0; }},
    {"TmToSystemTime",
     [](void* pSymbol) {
         tm calendar{};
         calendar.tm_year = 124;
         tagSYSTEMTIME time{};
         return OFFERED(TmToSystemTime)(&calendar, &time) == &time && time.wYear == 2024 && time.wMonth == 1;
     }},
    {"Encrypt",
     [](void* pSymbol) {
         unsigned char bytes[] = {0x12, 0xF0};
         OFFERED(Encrypt)(bytes, 2);
         OFFERED(Encrypt)(nullptr, 2);
         return bytes[0] == 0x21 && bytes[1] == 0x0F;
     }},
    {"IsValidPath",
     [](void* pSymbol) { return OFFERED(IsValidPath)("/") == 1 && OFFERED(IsValidPath)(nullptr) == 0; }},
    {"GetAppPath",
     [](void* pSymbol) {
         char szPath[512];
         return OFFERED(GetAppPath)(szPath, sizeof szPath) == 1 && std::string_view(szPath) == "/usr/sbin/";
     }},
    {"SearchFor",
     [](void* pSymbol) {
         const auto* pText = reinterpret_cast<const unsigned char*>("xaxab");
         return OFFERED(SearchFor)(pText, 5, pText + 3, 2) == 3 &&
                OFFERED(SearchFor)(nullptr, 5, pText, 1) == -1;
     }},
    {"HandleService",
     [](void* pSymbol) {
         unsigned int nError = 0;
         return OFFERED(HandleService)("no-such-service", SERVICE_START, &nError) == 0 &&
                nError == SERVICE_NO_SCRIPT;
     }},
    // A failure would write a log file into the root folder, which is not the test's own.
    {"KVLoadLibrary",
     [](void* pSymbol) {
         void* pLibrary = OFFERED(KVLoadLibrary)("libc.so.6");
         if (pLibrary) dlclose(pLibrary);
         return pLibrary != nullptr;
     }},
    {"KVGetProcAddress",
     [](void* pSymbol) {
         return OFFERED(KVGetProcAddress)(RTLD_DEFAULT, "malloc") == nullptr &&
                OFFERED(KVGetProcAddress)(pSymbol, nullptr) == nullptr;
     }},
    {"szErrMsg", [](void* pSymbol) { return *static_cast<char*>(pSymbol) == 0; }},
    {"GetPrivateProfileInt",
     [](void* pSymbol) {
         unsigned int nError = 0;
         return OFFERED(GetPrivateProfileInt)("a", "b", 7, "/no/such.cfg", &nError) == 7 &&
                nError == PROFILE_NO_FILE;
     }},
    {"DecryptBuffer",
     [](void* pSymbol) { return !OFFERED(DecryptBuffer)(nullptr, nullptr, 0, DATAFILE_KEY); }},
};

bool IsCrcRight() {
    CKVCrc32 crc;
    unsigned int nText = 0, nBuffer = 0;
    const auto* pDigits = reinterpret_cast<const unsigned char*>("123456789");
    return crc.GetStringCrc32("123456789", &nText) == 1 && nText == 0xCBF43926 &&
           crc.GetBuffCrc32(pDigits, 9, &nBuffer) == 1 && nBuffer == 0x340BC6D9 &&
           crc.GetBuffCrc32(nullptr, 9, &nBuffer) == 0;
}
}  // namespace

extern "C" {
WEBSEC_API bool AvGetClientAllSettingData(tagClientSettingData*, uint32_t*) {
    FILE* pResults = fopen((std::string(std::getenv("LAB_DIR")) + "/probe").c_str(), "we");
    for (const tagProbe& probe : PROBES) {
        void* pSymbol = dlsym(RTLD_DEFAULT, probe.szName);
        std::fprintf(pResults, "%s %s\n", probe.szName,
                     !pSymbol                 ? "missing"
                     : probe.isRight(pSymbol) ? "right"
                                              : "wrong");
    }
    std::fprintf(pResults, "CKVCrc32 %s\n", IsCrcRight() ? "right" : "wrong");
    fclose(pResults);
    return false;
}

WEBSEC_API bool AvInsertClientReportData(int, void*, uint32_t*) {
    return false;
}
}
