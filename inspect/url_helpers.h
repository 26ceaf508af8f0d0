// The helpers that shape the text which the policy checks compare. Leaf header; they work on their arguments
// only, except for g_bKeepPathAfterPort.
#pragma once

#include <cstddef>
#include <cstdint>

#include "inspect/web_request.h"

// While set, StripURLPort keeps the path behind a port. Set by the list parser alone, around one "ftp://"
// entry; StripURLPort clears it when it has used it. Each thread has its own: lists may be made while workers
// judge.
extern constinit thread_local uint8_t g_bKeepPathAfterPort;

// Ends szText at its last ':' behind index nStart (the byte at nStart is never examined): the port goes, and
// all that follows it. With g_bKeepPathAfterPort, what follows from the next "/" on is kept.
// Returns 0, or 2 when szText is null.
int StripURLPort(char* szText, size_t nStart);

// Fills szCheckURL: szURL without "http://", "https://" or "ftp://" (case-sensitive; empty without one of
// them) and without trailing separators. Returns 0, or 2 when pRequest is null.
int NormaliseURL(tagWebRequest* pRequest);

// Removes trailing "/", "?", "#" and line feeds, never the first character.
// Returns 0, or 2 when szText is null or nLength 0.
int TrimURLTail(char* szText, size_t nLength);

// Sets bIsIPHost from szHost. Returns 0, or -1 when pRequest is null.
int MarkIPHost(tagWebRequest* pRequest);

// 0 when inet_addr takes szText for an address (127.1, 0x7f.1 and 010.0.0.1 included, 255.255.255.255 not),
// 1 when it does not, -1 when szText is null.
int IsDottedIPv4(const char* szText);
