// The user who was logged in when the daemon started: to whom a block is attributed when the owner of its
// connection is not known.
#pragma once

#include <cstdint>

// Written once at start-up, before any other thread exists; read by the workers. Empty: nobody was logged in.
extern char g_szSessionUser[512];

// Copies the user of the first login in the login records (utmp(5), USER_PROCESS) into szUser, cut to
// nSize - 1 bytes and terminated; without one szUser is left as it was. Main thread only.
// Returns 0, or 2 when szUser is null or nSize 0.
uint32_t GetSessionUser(char* szUser, uint32_t nSize);
