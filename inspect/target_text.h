// What HTTP and FTP have in common: a keyword, blanks, then the target of the request.
#pragma once

#include <cstdint>
#include <span>

#include "inspect/web_request.h"

// Copies the target that the data begins with, behind any spaces and tabs, into szPath: bytes from "!" to
// "~", up to the first other byte or the end of the data, cut to the field. A target of exactly one
// character, in practice "/", gives the empty text, as no target does.
void CopyTarget(std::span<const uint8_t> data, tagWebRequest& request);
