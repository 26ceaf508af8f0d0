// A limit for calls of the modules, which websecctl makes in its own process: where one hangs, the command
// ends with a message that names it.
#pragma once

// Longer than a module may wait for a lock of the store.
constexpr unsigned MODULE_CALL_SECONDS = 5;

// Of a call that loads the module, or by which it loads its files: a slow disk is no fault of it.
constexpr unsigned MODULE_LOAD_SECONDS = 30;

// As long as it lives, that function of that module is at work; the innermost counts. When it takes longer,
// the program says so and ends with status 1. The texts must outlive it. One thread.
class ModuleCall {
  public:
    ModuleCall(const char* szModule, const char* szFunction, unsigned nSeconds = MODULE_CALL_SECONDS);
    ~ModuleCall();
    ModuleCall(const ModuleCall&) = delete;
    ModuleCall& operator=(const ModuleCall&) = delete;

    const char* const szModule;
    const char* const szFunction;
    const unsigned nSeconds;

  private:
    const ModuleCall* const m_pOuter;
};

// From here on a call of that function, which the global points to, is one. Once for each global.
template <auto& g_pfn, class Result, class... Arguments>
void LimitCalls(Result (*pfn)(Arguments...), const char* szModule, const char* szFunction) {
    static const struct {
        Result (*pfn)(Arguments...);
        const char *szModule, *szFunction;
    } s_limited{pfn, szModule, szFunction};
    g_pfn = [](Arguments... arguments) -> Result {
        const ModuleCall call(s_limited.szModule, s_limited.szFunction);
        return s_limited.pfn(arguments...);
    };
}
