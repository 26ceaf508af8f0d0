#include "inspect/live_detect.h"

#include <algorithm>
#include <string_view>

#include "inspect/protocol_detect.h"

namespace {

constexpr uint8_t HANDSHAKE = 22;
constexpr uint8_t TLS_MAJOR = 3;
constexpr uint8_t CLIENT_HELLO = 1;
constexpr size_t HELLO_TYPE_OFFSET = 5;  // behind the record header

uint8_t MatchHello(std::span<const uint8_t> data);
uint8_t MatchWord(std::span<const uint8_t> data, std::span<const tagKeyword> words, uint8_t& nMethod);
std::string_view WordAndBlank(const tagKeyword& word, char (&szText)[sizeof word.szText]);

}  // namespace

uint8_t DetectStart(std::span<const uint8_t> data, tagRequestStart& start) {
    if (data.empty()) return PREFIX_OTHER;
    start = {};
    uint8_t nResult = MatchHello(data);
    if (nResult != PREFIX_OTHER) {
        start.nProtocol = PROTO_HTTPS;
        return nResult;
    }
    nResult = MatchWord(data, HTTP_METHODS, start.nMethod);
    if (nResult != PREFIX_OTHER) {
        start.nProtocol = PROTO_HTTP;
        return nResult;
    }
    nResult = MatchWord(data, FTP_COMMANDS, start.nMethod);
    if (nResult != PREFIX_OTHER) start.nProtocol = PROTO_FTP;
    return nResult;
}

namespace {

uint8_t MatchHello(std::span<const uint8_t> data) {
    if (data[0] != HANDSHAKE) return PREFIX_OTHER;
    if (data.size() > 1 && data[1] != TLS_MAJOR) return PREFIX_OTHER;
    if (data.size() <= HELLO_TYPE_OFFSET) return PREFIX_MORE;
    return data[HELLO_TYPE_OFFSET] == CLIENT_HELLO ? PREFIX_ENOUGH : PREFIX_OTHER;
}

// No word is the beginning of another one with its blank, so the order does not matter.
uint8_t MatchWord(std::span<const uint8_t> data, std::span<const tagKeyword> words, uint8_t& nMethod) {
    for (size_t i = 0; i < words.size(); ++i) {
        char szText[sizeof words[i].szText];
        const std::string_view word = WordAndBlank(words[i], szText);
        const size_t nCompared = std::min(word.size(), data.size());
        if (!std::equal(word.begin(), word.begin() + nCompared, data.begin())) continue;
        nMethod = static_cast<uint8_t>(i);
        return data.size() >= word.size() ? PREFIX_ENOUGH : PREFIX_MORE;
    }
    return PREFIX_OTHER;
}

std::string_view WordAndBlank(const tagKeyword& word, char (&szText)[sizeof word.szText]) {
    std::copy(std::begin(word.szText), std::end(word.szText), szText);
    szText[word.nLength] = ' ';
    return {szText, size_t{word.nLength} + 1};
}

}  // namespace
