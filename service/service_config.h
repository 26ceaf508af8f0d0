// What the daemon knows about its own operation. Leaf header: records and globals only; reading them is
// service/read_config.h.
//
// The globals are written on the main thread alone: at start-up before any other thread exists, later inside
// a reload, which then holds the rule watchdog's mutex. The watchdog reads them under the same mutex.
#pragma once

#include <cstdint>

#include "policy/data_file.h"

struct tagServiceConfig {
    uint32_t nQueueNum;        // netfilter queue served
    uint8_t bUseDefinedPorts;  // 0: rules match every port; otherwise they carry the lists below
    char szIptablesPath[512];
    char szIptableChain[512];
    char szIptableTable[512];
    char szHTTPPorts[512];  // comma-separated, multiport syntax
    char szHTTPSPorts[512];
    char szFTPPorts[512];
};

// The internet options: a record of another program, compared whole, of which two fields are read.
#pragma pack(push, 1)
struct tagInetSettings {
    uint16_t bUsePort;  // 1: nPort is in use
    uint8_t reserved1[262];
    uint16_t nPort;  // TCP port
    uint8_t reserved2[522];
};
#pragma pack(pop)
static_assert(sizeof(tagInetSettings) == 788);

// Read once, at start-up, before any other thread exists. LiveTraffic 1 lets the daemon go beyond single
// segments: what differs then is listed in ARCHITECTURE.md. On only when exactly 1.
extern uint8_t g_bLiveTraffic;
extern uint8_t g_bCloseBypasses;  // 1: what cannot be judged is rejected, so that clients fall back

extern tagServiceConfig g_ServiceConfig;
extern tagPortTable g_WebFilterPorts;  // as read from the extra port file
extern tagInetSettings g_InetSettings;
