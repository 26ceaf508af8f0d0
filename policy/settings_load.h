// The policy in force is made here: everything that policy/policy_state.h holds, but for the built-in tables,
// comes from one fetch from the settings store.
#pragma once

// Fetches the settings through the report module and rebuilds switches, blocked categories and the seven
// lists, derived addresses included, from scratch. Returns 0, or 9 when the report module is not loaded or
// the fetch fails; the previous policy then stays in force.
//
// Takes as long as the module and the resolver need. The caller sees to it that no worker is in the decision
// flow and that the calling thread cannot be cancelled meanwhile.
int LoadPolicySettings();
