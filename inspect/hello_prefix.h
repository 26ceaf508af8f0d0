// The server name of a TLS ClientHello (RFC 8446 4.1.2 and 5.1, server_name extension: RFC 6066 3) of which
// perhaps only the beginning is there: the walk goes as far as the bytes do. It crosses the borders of
// records, so a hello in several records is read as one message.
//
// Every length is checked against what encloses it as soon as it is read, so a walk that asks for more never
// asks for more than a hello can have. Works on its arguments only; any thread.
#pragma once

#include <cstdint>
#include <span>

#include "inspect/live_detect.h"

// The longest ClientHello that the lengths of its fields allow.
constexpr uint32_t CLIENT_HELLO_MAX = 2 + 32 + 1 + 32 + 2 + 65534 + 1 + 255 + 2 + 65535;

// `data` begins with the header of the first record and may end anywhere, behind the hello as well. Returns
//   PREFIX_ENOUGH   szName holds the first host_name: cut to the field, ended early at a NUL inside
//   PREFIX_MORE     the data ends before the name
//   PREFIX_NO_NAME  there is no name, or one of a single character, which is not inspected
//   PREFIX_DAMAGED  not a ClientHello, or its lengths contradict each other
// szName is written on PREFIX_ENOUGH only.
uint8_t FindHelloName(std::span<const uint8_t> data, char (&szName)[256]);
