// Composes TLS ClientHello records (RFC 8446 4.1.2) from the inside out: name entries, extensions, record.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

// Big-endian number of nBytes bytes.
inline std::string WireNumber(size_t n, int nBytes) {
    std::string text;
    for (int i = nBytes - 1; i >= 0; --i)
        text.push_back(static_cast<char>(n >> (8 * i)));
    return text;
}

inline std::string LengthAndBody(const std::string& body, int nLengthBytes) {
    return WireNumber(body.size(), nLengthBytes) + body;
}

inline std::string NameEntry(const std::string& name, uint8_t nType = 0) {
    return WireNumber(nType, 1) + LengthAndBody(name, 2);
}

inline std::string Extension(uint16_t nType, const std::string& body) {
    return WireNumber(nType, 2) + LengthAndBody(body, 2);
}

// The server_name extension holding these entries.
inline std::string ServerNames(const std::string& entries) {
    return Extension(0, LengthAndBody(entries, 2));
}

struct tagTestHello {
    std::string version = "\x03\x01";  // of the record
    std::string sessionId = std::string(32, 's');
    std::string cipherSuites = "\x13\x01\x13\x02";
    std::string compression = std::string(1, '\0');
    std::optional<std::string> extensions = "";  // nullopt: not even their length
};

inline std::string ComposeClientHello(const tagTestHello& from = {}) {
    std::string body = "\x03\x03" + std::string(32, 'r') + LengthAndBody(from.sessionId, 1) +
                       LengthAndBody(from.cipherSuites, 2) + LengthAndBody(from.compression, 1);
    if (from.extensions) body += LengthAndBody(*from.extensions, 2);
    return "\x16" + from.version + LengthAndBody("\x01" + LengthAndBody(body, 3), 2);
}

// What a browser sends for this host.
inline std::string ClientHelloFor(const std::string& host) {
    return ComposeClientHello({.extensions = Extension(23, "") + ServerNames(NameEntry(host)) +
                                             Extension(16, std::string("\0\3\2h2", 5))});
}

// The same in the size of today's: post-quantum key shares, and in most of them before the server name.
inline std::string LargeClientHelloFor(const std::string& host) {
    return ComposeClientHello({.extensions = Extension(0x2A2A, "") + Extension(51, std::string(1263, 'k')) +
                                             ServerNames(NameEntry(host)) +
                                             Extension(16, std::string("\0\3\2h2", 5)) +
                                             Extension(0xFE0D, std::string(218, 'e'))});
}

// The message of a record, carried in records of at most nBytes each.
inline std::string SplitRecords(const std::string& record, size_t nBytes) {
    std::string records;
    for (size_t i = 5; i < record.size(); i += nBytes)
        records += record.substr(0, 3) + LengthAndBody(record.substr(i, nBytes), 2);
    return records;
}

// One with these extensions alone.
inline std::string Hello(const std::string& extensions) {
    return ComposeClientHello({.extensions = extensions});
}

// The same with one byte changed.
inline std::string Changed(std::string text, size_t nOffset, uint8_t nValue) {
    text[nOffset] = static_cast<char>(nValue);
    return text;
}
