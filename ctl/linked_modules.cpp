// The functions of the libraries that the daemon links by name. Here they are found when they are called:
// websecctl has to start, and doctor to name the cause, where such a library is missing. Without it they
// fail, with ELIBACC in errno.
#include <dlfcn.h>

#include <cerrno>
#include <string_view>

#include "category/webcat_library.h"
#include "ctl/module_call.h"
#include "ctl/module_check.h"
#include "modules/asapsdk/check_sum.h"

namespace {

// Once loaded it stays, as in the daemon.
template <typename Result, typename... Arguments>
Result CallModule(const char* szFile, const char* szSymbol, Result failed, Arguments... arguments) {
    const bool bLoads = std::string_view(szSymbol) == "WCInit";
    const ModuleCall call(szFile, szSymbol, bLoads ? MODULE_LOAD_SECONDS : MODULE_CALL_SECONDS);
    void* const pModule = dlopen(szFile, RTLD_NOW | RTLD_LOCAL);
    void* const pSymbol = pModule ? dlsym(pModule, szSymbol) : nullptr;
    if (pSymbol) return reinterpret_cast<Result (*)(Arguments...)>(pSymbol)(arguments...);
    errno = ELIBACC;
    return failed;
}

}  // namespace

int WCInit() {
    return CallModule(CATEGORY_LIBRARY, "WCInit", -1);
}

int WCDeinit() {
    return CallModule(CATEGORY_LIBRARY, "WCDeinit", -1);
}

int WCGetURLCategories(const char* szHost, const char* szURL, unsigned short* pCategories,
                       unsigned short* pCount) {
    return CallModule(CATEGORY_LIBRARY, "WCGetURLCategories", -1, szHost, szURL, pCategories, pCount);
}

int WCGetKVURLCategories(const char* szHost, const char* szURL, unsigned short* pCategories,
                         unsigned short* pCount) {
    return CallModule(CATEGORY_LIBRARY, "WCGetKVURLCategories", -1, szHost, szURL, pCategories, pCount);
}

int ConvertFromRealToLogical(unsigned short nReal, unsigned short* pLogical) {
    return CallModule(CATEGORY_LIBRARY, "ConvertFromRealToLogical", -1, nReal, pLogical);
}

bool CalculateCheckSum(int fd, uint32_t* pChecksum) {
    return CallModule(CHECKSUM_LIBRARY, "CalculateCheckSum", false, fd, pChecksum);
}
