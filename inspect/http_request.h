// Host and target of an HTTP request (RFC 9112), as far as this segment holds them: nothing is reassembled
// and folded header lines are not joined.
//
// Deliberately lenient about line ends. A line ends at a CR, or one byte before an LF, whichever comes first:
// the byte before an LF is taken for its CR. The very last byte of the data never belongs to a line.
// Allocates nothing; works on the arguments only, none of them null; any worker.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "inspect/web_request.h"
#include "intercept/packet_info.h"

// Fills szHost (port removed) and szPath from the segment's data. Without a usable Host line both stay empty.
// nMethod is the index into HTTP_METHODS that the detection set. Returns 0 always.
int ExtractHTTPRequest(const tagPacketInfo* pPacket, tagWebRequest* pRequest);

// Looks for the first line behind the request line, up to the first empty line, that begins with `name` (its
// colon included, in any case of letters) and has something behind it. Fills szValue with the rest of that
// line without its leading blanks; with LiveTraffic 1 also without those at its end, and with the last byte
// of a line that ends in LF alone. Returns 0, or -1 when there is no such line or the first one is longer
// than the field; szValue is then left as it was.
int FindHeaderValue(std::string_view name, std::span<const uint8_t> data, char (&szValue)[256]);

// What stands behind `name` (its colon included, in any case of letters) and blanks in a line that begins
// with it; nothing for any other line, and for one that ends with the name.
std::optional<std::string_view> ValueInLine(std::string_view line, std::string_view name);

// Moves pCursor, with nLeft bytes from it to the end of the data, over the rest of the current line and its
// end. Returns the length of the line that then lies under it; 0 for an empty line or the end of the data.
uint32_t NextHeaderLine(const uint8_t*& pCursor, uint32_t& nLeft);

// Fills szPath with the target behind the first bytes of the data, as many as the keyword of nMethod has,
// wherever that keyword itself was found. Returns 0.
int ParseRequestTarget(tagWebRequest* pRequest, std::span<const uint8_t> data);
