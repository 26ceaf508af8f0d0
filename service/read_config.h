// Reads the service configuration into g_ServiceConfig. Main thread: at start-up before any other thread
// exists, and in a reload with the rule watchdog's mutex held.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr int CONFIG_NO_IPTABLES = 16;

// Fills g_ServiceConfig and, when port lists are in use, g_WebFilterPorts and g_InetSettings. Every key has a
// default; a missing or unreadable file is no error. 0, or CONFIG_NO_IPTABLES with the record zeroed.
int ReadServiceConfig();

// Fills g_ServiceConfig, but for szIptablesPath, with the keys of [IPTABLEConfigurations] in that file alone:
// the port lists, only when they are in use, without the ports that other files add.
void ReadRuleKeys(const char* szFile);

// Reads g_bLiveTraffic and g_bCloseBypasses; 0 where the file or the key is missing. At start-up only.
void ReadLiveTraffic();

// The first place where an iptables binary exists. 0 with the path in szOut (at most nSize bytes, as strncpy
// copies), 1 when there is none, 2 when szOut is null.
int FindIptablesPath(char* szOut, uint32_t nSize);
