#include "ctl/module_check.h"

#include <dlfcn.h>
#include <unistd.h>

#include <initializer_list>

#include "common/library_file.h"
#include "common/product_paths.h"
#include "ctl/module_call.h"
#include "ctl/output.h"

namespace {

struct tagModule {
    const char* szFile;
    const char* szWithout;  // what the daemon does without it
    std::initializer_list<const char*> symbols;
};

std::string FindProblem(const tagModule& module);

}  // namespace

std::vector<tagModuleCheck> CheckModules() {
    constexpr char NO_START[] = "websec does not start without it";
    const tagModule modules[] = {
        {CATEGORY_LIBRARY,
         NO_START,
         {"WCInit", "WCDeinit", "PerformCacheRefresh", "WCGetURLCategories", "WCGetKVURLCategories",
          "ConvertFromRealToLogical"}},
        {"clrptmod.so", NO_START, {"InsertClientReportData"}},
        {CHECKSUM_LIBRARY, NO_START, {"CalculateCheckSum"}},
        {REPORT_MODULE_FILE,
         "without it websec has no settings and blocks nothing",
         {"AvGetClientAllSettingData", "AvInsertClientReportData"}},
        {URL_SCANNER_FILE,
         "without it nothing is scanned for phishing and harmful sites",
         {"InitURLScan", "DeinitURLScan", "ScanURLForAPSH", "ScanURLForBP"}},
    };
    std::vector<tagModuleCheck> checks;
    for (const auto& module : modules) {
        const std::string problem = FindProblem(module);
        checks.push_back({module.szFile, problem.empty() ? "" : problem + "; " + module.szWithout});
    }
    return checks;
}

std::string LibraryProblem(const char* szFile) {
    return FindProblem({szFile, "", {}});
}

void RequireLibrary(const char* szFile) {
    const std::string problem = LibraryProblem(szFile);
    if (!problem.empty()) throw CtlError(problem + "; install websec again");
}

namespace {

std::string FindProblem(const tagModule& module) {
    const std::string file = module.szFile;
    if (file[0] == '/' && access(module.szFile, F_OK) != 0) return file + " is missing";
    if (file[0] == '/' && !IsWholeLibrary(module.szFile)) return file + " is cut or no library";
    const ModuleCall call(module.szFile, "loading", MODULE_LOAD_SECONDS);
    void* const pModule = dlopen(module.szFile, RTLD_NOW | RTLD_LOCAL);
    if (!pModule) return "cannot load " + Printable(dlerror());
    std::string problem;
    for (const char* szSymbol : module.symbols) {
        if (problem.empty() && !dlsym(pModule, szSymbol)) problem = file + " lacks " + szSymbol;
    }
    dlclose(pModule);
    return problem;
}

}  // namespace
