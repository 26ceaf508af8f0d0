// What the daemon notes for websecctl about its own run: where its firewall rules are, whatever websec.cfg
// says by now, and when its settings were loaded. The note stays when the daemon ends, so that rules that it
// left are found. It is a profile (common/profile.h): the keys of websec.cfg's [IPTABLEConfigurations], with
// UseDefinedPorts the ports of other files among them, and SettingsTime in [Daemon].
#pragma once

#include <cstdint>

constexpr char DAEMON_NOTE_DIR[] = "/run/websec";
constexpr char DAEMON_NOTE_FILE[] = "/run/websec/daemon";

// Notes g_ServiceConfig and the time of the settings in force, in place of an earlier note. Returns 0, or an
// error number; there is no note then. Main thread: before rules are added, and after each reload.
int WriteDaemonNote();

// Puts what was noted about the rules into g_ServiceConfig, but for the path of iptables. 0, or 1 with the
// record unchanged when there is no note.
int ReadNotedRules();

// When the settings in force were loaded, in seconds since 1970; 0 without a note, or when none ever were.
int64_t ReadNotedSettingsTime();
