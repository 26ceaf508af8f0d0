// What begins with the first byte of the data: a TLS ClientHello (RFC 8446 5.1), an HTTP request (RFC 9112)
// or an FTP command (RFC 959). The detection of LiveTraffic 1: nothing behind the start is looked at, so what
// a URL or a cookie holds does not matter, and data that breaks off within its first word is told apart from
// data that is something else.
//
// Pure functions; any thread.
#pragma once

#include <cstdint>
#include <span>

// What the bytes of a request, from its first on, tell so far.
enum : uint8_t {
    PREFIX_OTHER,    // no request begins here
    PREFIX_MORE,     // a request up to here; what it asks for is still to come
    PREFIX_ENOUGH,   // what it asks for is there: no byte behind could change it
    PREFIX_NO_NAME,  // a hello that names no server
    PREFIX_DAMAGED,  // a hello that cannot be read
};

struct tagRequestStart {
    uint8_t nProtocol;  // PROTO_*
    uint8_t nMethod;    // index into HTTP_METHODS or FTP_COMMANDS
};

// Whether the data begins with a handshake record whose message is a ClientHello, or with one of the words of
// HTTP_METHODS and FTP_COMMANDS and a blank. Returns PREFIX_ENOUGH with `start` filled, PREFIX_MORE when the
// data ends before that can be said, else PREFIX_OTHER.
uint8_t DetectStart(std::span<const uint8_t> data, tagRequestStart& start);
