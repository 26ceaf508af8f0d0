// The server name of a TLS ClientHello (RFC 8446 4.1.2, server_name extension: RFC 6066 3), the one name that
// an enciphered connection shows. A ClientHello that spans records or segments yields nothing: neither is put
// together.
//
// The parsers check each length against what encloses it and never read behind their span. All work on their
// arguments only, but for a message about unknown name types while standard output is the process's own; any
// worker.
#pragma once

#include <cstdint>
#include <span>

#include "inspect/web_request.h"
#include "intercept/packet_info.h"

// Fills szHost (cut to the field) from the segment's data. Returns the length field of the name, 1 or more,
// when there is one; a NUL inside leaves a shorter szHost. 0 when there is none, 2 when the segment has no
// data; szHost is then left as it was. No argument is null.
int ExtractTLSServerName(const tagPacketInfo* pPacket, tagWebRequest* pRequest);

// Each returns the length field of the first host_name entry, which may be 0, and hands over the name in
// *pszName: NUL-terminated, ended early at a NUL inside, to be released with free(). Otherwise *pszName is
// left as it was and the result is
//   -1  the record is not complete (ParseClientHello)
//   -2  no server name can be there: SSL 2.0, or no such extension
//   -3  pszName is null (ParseClientHello)
//   -4  no memory
//   -5  malformed
// `data` begins with a record header and may go on behind the record. `extensions` is the body of the
// extensions block, `list` the body of one server_name extension, whose own list length is not examined.
int ParseClientHello(std::span<const uint8_t> data, char** pszName);
int FindServerNameExtension(std::span<const uint8_t> extensions, char** pszName);
// Entries of other name types are passed over; each is named on standard output as long as that belongs to
// the process (common/own_stdout.h).
int ParseServerNameList(std::span<const uint8_t> list, char** pszName);
