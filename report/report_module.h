// The binding of libdbmod.so: the settings store and the store of typed reports. The daemon knows it only by
// its symbols and the records that they take.
//
// Loaded and unloaded on the main thread, at start-up and at the end; in between the globals are only read,
// by any thread.
#pragma once

#include <cstdint>

#include "policy/client_settings.h"

// Stores one report record: nType 1, 5 or 6 with the record of report/report_records.h. May be called from
// several threads at once. Its result and *pStatus are not looked at.
using AvInsertClientReportDataFn = int (*)(int nType, void* pRecord, uint32_t* pStatus);

extern uint8_t g_bReportModuleLoaded;  // 1: open, and both symbols that it must have are resolved
extern AvInsertClientReportDataFn g_pfnInsertClientReportData;
extern AvGetClientAllSettingDataFn g_pfnGetClientAllSettingData;
extern AvWalkClientSettingDataFn g_pfnWalkClientSettingData;  // null when the module has none

// Opens the module and resolves its symbols; on any failure nothing stays open and the facility stays off.
// Does nothing while loaded.
void LoadReportModule();

// The same for the library at szPath.
void LoadReportModuleFrom(const char* szPath);

// Closes the module when it is loaded and leaves all globals 0. The functions must not be running.
void UnloadReportModule();
