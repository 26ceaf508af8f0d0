// Whole packets on their way through the gathering of requests, as the decision flow sends them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "inspect/connection_memory.h"
#include "inspect/data_part.h"
#include "inspect/ipv4_tcp.h"
#include "inspect/request_gathering.h"
#include "inspect/request_prefix.h"
#include "tests/support/packet_composer.h"

inline const std::string kBad = "blocked.example";

// What gathering remembers outlives a test: each starts later than all others can reach.
inline int64_t Later() {
    static int64_t s_nNowMs = 1'000'000;
    return s_nNowMs += 10 * BLOCKED_AGE_MS;
}

inline std::string Request(const std::string& host, const std::string& method = "POST") {
    return method + " /p HTTP/1.1\r\nAccept: text/html\r\nHost: " + host + "\r\nCookie: a=b\r\n\r\n";
}

// The headers of a request with a body.
inline std::string Body(uint64_t nLength) {
    return "PUT /b HTTP/1.1\r\nHost: a.example\r\nContent-Length: " + std::to_string(nLength) + "\r\n\r\n";
}

struct tagOutcome {
    uint8_t nAnswer;
    uint8_t nStreamMark;
    std::string judged;
    bool bAccepted;
};

// One queued packet on its way; what holds kBad is blocked.
inline tagOutcome Send(const tagTestPacket& from, int64_t nNowMs, uint32_t nCopied = 65535) {
    Bytes bytes = ComposePacket(from);
    tagPacketInfo packet = SlotOf(bytes);
    packet.bCut = bytes.size() > nCopied;
    packet.nPacketLen = static_cast<uint16_t>(std::min<size_t>(bytes.size(), nCopied));
    EXPECT_EQ(ParseIPv4TCP(&packet, std::make_unique<tagWebRequest>().get()), 0);
    tagStreamBuffer buffer;
    tagPacketInfo part = DataPart(packet);
    tagOutcome outcome{GatherRequest(part, buffer, nNowMs), part.nStreamMark, "", true};
    if (outcome.nAnswer == GATHER_JUDGE) {
        outcome.judged.assign(reinterpret_cast<const char*>(part.pData), part.nDataLen);
        uint8_t nNext = GATHER_JUDGE;
        while (nNext == GATHER_JUDGE && outcome.bAccepted) {
            EXPECT_EQ(ReadRequestPrefix({part.pData, part.nDataLen}), PREFIX_ENOUGH);
            const std::string_view data(reinterpret_cast<const char*>(part.pData), part.nDataLen);
            const uint16_t nEnd = part.nNextRequest;
            outcome.bAccepted = data.substr(0, nEnd).find(kBad) == std::string::npos;
            if (nEnd == data.size()) break;
            part.pData += nEnd;
            part.nDataLen = static_cast<uint16_t>(part.nDataLen - nEnd);
            part.nSeq += static_cast<uint32_t>(nEnd);
            nNext = GatherNextRequest(part, buffer, nNowMs);
        }
        outcome.nStreamMark = part.nStreamMark;
        if (outcome.bAccepted) {
            RememberAllowed(packet, nNowMs);
        } else {
            RememberBlocked(packet, nNowMs);
        }
    } else {
        outcome.bAccepted = outcome.nAnswer != GATHER_DROP && outcome.nAnswer != GATHER_DROP_COPY;
    }
    return outcome;
}
