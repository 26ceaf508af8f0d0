// Requests in several segments. The model sends whole packets through the gathering as the decision flow
// does, and keeps what the server would have got.
#include "inspect/request_gathering.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <numeric>
#include <random>
#include <string>
#include <thread>

#include "common/traffic_counters.h"
#include "inspect/connection_memory.h"
#include "inspect/ipv4_tcp.h"
#include "inspect/request_prefix.h"
#include "tests/support/client_hello_composer.h"
#include "tests/support/packet_composer.h"

namespace {

using namespace std::string_literals;

const std::string kBad = "blocked.example";

// What gathering remembers outlives a test: each starts later than all others can reach.
int64_t Later() {
    static int64_t s_nNowMs = 1'000'000;
    return s_nNowMs += 10 * BLOCKED_AGE_MS;
}

uint64_t Counted(uint8_t nCounter) {
    return g_pTrafficCounters->counts[nCounter];
}

std::string Request(const std::string& host, const std::string& method = "POST") {
    return method + " /p HTTP/1.1\r\nAccept: text/html\r\nHost: " + host + "\r\nCookie: a=b\r\n\r\n";
}

// The headers of a request with a body.
std::string Body(uint64_t nLength) {
    return "PUT /b HTTP/1.1\r\nHost: a.example\r\nContent-Length: " + std::to_string(nLength) + "\r\n\r\n";
}

struct tagOutcome {
    uint8_t nAnswer;
    uint8_t nStreamMark;
    std::string judged;
    bool bAccepted;
};

// One queued packet on its way; what holds kBad is blocked.
tagOutcome Send(const tagTestPacket& from, int64_t nNowMs, uint32_t nCopied = 65535) {
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
            const size_t nEnd = FindNextRequest({part.pData, part.nDataLen});
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

// What a sequence of pieces of one connection gets for answers.
TEST(GatherRequest, AnswersPieceByPiece) {
    const std::string good = Request("a.example"), bad = Request(kBad);
    const std::string hello = LargeClientHelloFor("a.example");
    const std::string open = "GET / HTTP/1.1\r\nHost: a.example\r\n", five = Body(5);
    const auto nOpen = uint32_t(open.size()), nFive = uint32_t(five.size());
    struct tagStep {
        uint32_t nOffset;
        std::string data;
        uint8_t nAnswer, nStreamMark = STREAM_KEEP;
        uint8_t nFlags = FLAG_PSH | FLAG_ACK;
        uint32_t nCopied = 65535;
    };
    const uint8_t JUDGE = GATHER_JUDGE, WAIT = GATHER_WAIT, PASS = GATHER_PASS, DROP = GATHER_DROP;
    const struct {
        const char* szReason;
        std::vector<tagStep> steps;
        int nCounter = -1;  // goes up by one
    } rows[] = {
        {"whole", {{0, good, JUDGE}}},
        {"no data", {{0, "", PASS}}},
        {"two pieces", {{0, good.substr(0, 40), WAIT}, {40, good.substr(40), JUDGE}}, COUNT_GATHERED},
        {"split within the method", {{0, "GE", WAIT}, {2, Request(kBad, "GET").substr(2), JUDGE}}},
        {"a blocked one stays blocked",
         {{0, bad.substr(0, 40), WAIT},
          {40, bad.substr(40), JUDGE},
          {40, bad.substr(40), DROP},
          {45, bad.substr(45), DROP},
          {0, bad, DROP},
          {uint32_t(bad.size()), "body", DROP},
          {0, bad.substr(0, 40), WAIT},
          {40, bad.substr(40), DROP}}},
        {"sent again after it was judged",
         {{0, good.substr(0, 40), WAIT}, {40, good.substr(40), JUDGE}, {40, good.substr(40), PASS}}},
        {"pieces without a start",
         {{0, "body", PASS},
          {4, "body", PASS},
          {8, "body", PASS},
          {12, "body", PASS},
          {16, "body", PASS},
          {20, "body", PASS}},
         COUNT_UNJUDGED_INCOMPLETE},
        {"only new bytes are counted", {{0, "body", PASS}, {0, "body", PASS}, {0, "body", PASS}}},
        {"the rest of the headers, and the next request behind it",
         {{0, open, JUDGE}, {nOpen, "X: y\r\n\r\n" + bad, JUDGE}, {nOpen, "X: y\r\n\r\n" + bad, DROP}}},
        {"the same, first the second",
         {{nOpen, "X: y\r\n\r\n" + bad, PASS}, {0, open, JUDGE}, {0, open, DROP}},
         COUNT_GATHERED},
        {"the headers end in pieces, and the next one begins in pieces",
         {{0, open, JUDGE},
          {nOpen, "Content-Len", PASS},
          {nOpen + 11, "gth: 2\r\n\r", PASS},
          {nOpen + 20, "\nxy\r\n" + bad.substr(0, 3), WAIT},
          {nOpen + 28, bad.substr(3), JUDGE},
          {nOpen + 28, bad.substr(3), DROP}}},
        {"behind a body", {{0, five, JUDGE}, {nFive, "x", PASS}, {nFive + 1, "yyyy" + bad, JUDGE}}},
        {"at the end of a body", {{0, five, JUDGE}, {nFive, "xxxxx", PASS}, {nFive + 5, bad, JUDGE}}},
        {"in pieces behind a body",
         {{0, five, JUDGE},
          {nFive, "xxxxx" + bad.substr(0, 40), WAIT},
          {nFive + 45, bad.substr(40), JUDGE},
          {nFive + 45, bad.substr(40), DROP}}},
        {"behind a body, first its rest",
         {{0, five, JUDGE}, {nFive + 45, bad.substr(40), PASS}, {nFive, "xxxxx" + bad.substr(0, 40), JUDGE}}},
        {"inside of a body", {{0, Body(1000), JUDGE}, {uint32_t(Body(1000).size()), "x" + bad, PASS}}},
        {"a long body",
         {{0, Body(5'000'000), JUDGE}, {uint32_t(Body(5'000'000).size()), "x", PASS, STREAM_RELEASE}}},
        {"a length beyond all sequence numbers",
         {{0, Body(5'000'000'000), JUDGE},
          {uint32_t(Body(5'000'000'000).size()), "x", PASS, STREAM_RELEASE}}},
        {"another protocol behind it", {{0, five, JUDGE}, {nFive, "xxxxx?", PASS}, {nFive + 6, "x", PASS}}},
        {"what a hello is followed by",
         {{0, hello, JUDGE}, {uint32_t(hello.size()), "x", PASS, STREAM_RELEASE}}},
        {"three requests, first the end of the third, then the first",
         {{uint32_t(good.size()) + 40, bad.substr(40), PASS},
          {0, good, JUDGE},
          {uint32_t(good.size()), bad.substr(0, 40), JUDGE}},
         COUNT_GATHERED},
        {"a gap, then an end: what is behind the gap waits for its start",
         {{0, good.substr(0, 40), WAIT},
          {uint32_t(good.size()) + 40, bad.substr(40), WAIT},
          {40, good.substr(40), JUDGE},
          {uint32_t(good.size()), bad.substr(0, 40), JUDGE}}},
        {"another start, far off: a new connection",
         {{0, good.substr(0, 40), WAIT}, {1u << 30, bad, JUDGE}},
         COUNT_UNJUDGED_INCOMPLETE},
        {"the ports of a blocked one used again", {{0, bad, JUDGE}, {1u << 30, good, JUDGE}, {0, bad, DROP}}},
        {"looked like a start", {{0, "P", WAIT}, {1, "xyz", PASS}, {4, good, JUDGE}}},
        {"FIN in the request",
         {{0, bad, JUDGE, STREAM_KEEP, FLAG_FIN | FLAG_PSH | FLAG_ACK}, {0, bad, DROP}}},
        {"the first byte behind a SYN",
         {{0, bad.substr(0, 40), WAIT, STREAM_KEEP, FLAG_SYN}, {41, bad.substr(40), JUDGE}, {41, "x", DROP}}},
        {"only the beginning copied, and enough",
         {{0, Body(2000) + std::string(2000, 'x'), JUDGE, STREAM_KEEP, FLAG_ACK, 1000},
          {uint32_t(Body(2000).size() + 2000), bad, JUDGE}}},
        {"the next one begins in what was not copied",
         {{0, Body(1990) + std::string(1990, 'x') + bad, JUDGE, STREAM_KEEP, FLAG_ACK, 1000}},
         COUNT_UNJUDGED_TOO_LONG},
        {"only the beginning copied, and not enough",
         {{0, "GET /" + std::string(2000, 'x'), PASS, STREAM_KEEP, FLAG_ACK, 1000}},
         COUNT_UNJUDGED_TOO_LONG},
        {"a gap in a later piece",
         {{0, "GET /", WAIT}, {5, std::string(2000, 'x'), PASS, STREAM_KEEP, FLAG_ACK, 1000}},
         COUNT_UNJUDGED_TOO_LONG},
        {"longer than what is kept",
         {{0, "GET /" + std::string(9000, 'x'), WAIT}, {9005, std::string(9000, 'x'), PASS}},
         COUNT_UNJUDGED_TOO_LONG},
        {"hello without a name", {{0, ComposeClientHello(), PASS, STREAM_RELEASE}}, COUNT_UNJUDGED_NO_NAME},
        {"hello that contradicts itself",
         {{0, "\x16\3\1\0\x04\1\xFF\0\0"s, PASS, STREAM_RELEASE}},
         COUNT_UNJUDGED_DAMAGED},
        {"hello cut behind its name", {{0, hello.substr(0, hello.size() - 200), JUDGE}}},
        {"hello in two records and two segments",
         {{0, SplitRecords(hello, 1000).substr(0, 1200), WAIT},
          {1200, SplitRecords(hello, 1000).substr(1200), JUDGE}}},
    };
    for (const auto& row : rows) {
        for (const uint32_t nISN : {100000u, 0xFFFFFFF0u}) {
            const int64_t nNowMs = Later();
            const uint64_t nBefore = row.nCounter < 0 ? 0 : Counted(static_cast<uint8_t>(row.nCounter));
            for (size_t i = 0; i < row.steps.size(); ++i) {
                const tagStep& step = row.steps[i];
                const tagOutcome outcome =
                    Send({.nSeq = nISN + step.nOffset, .nFlags = step.nFlags, .payload = step.data}, nNowMs,
                         step.nCopied);
                EXPECT_EQ(outcome.nAnswer, step.nAnswer) << row.szReason << ", step " << i;
                const uint8_t nMark = step.nAnswer == WAIT ? uint8_t{STREAM_WATCH} : step.nStreamMark;
                EXPECT_EQ(outcome.nStreamMark, nMark) << row.szReason << ", step " << i;
            }
            if (row.nCounter >= 0) {
                EXPECT_EQ(Counted(static_cast<uint8_t>(row.nCounter)), nBefore + 1) << row.szReason;
            }
        }
    }
}

// Of bytes that come twice the first copy is judged, wherever the second reaches.
TEST(GatherRequest, TheFirstCopyOfAByteStays) {
    const std::string bad = Request(kBad), other = Request("harmless.exampl");
    ASSERT_EQ(bad.size(), other.size());
    const int64_t nNowMs = Later();
    EXPECT_EQ(Send({.nSeq = 1060, .payload = bad.substr(60, 10)}, nNowMs).nAnswer, GATHER_PASS);
    EXPECT_EQ(Send({.nSeq = 1000, .payload = bad.substr(0, 55)}, nNowMs).nAnswer, GATHER_WAIT);
    const tagOutcome outcome = Send({.nSeq = 1050, .payload = other.substr(50)}, nNowMs);
    EXPECT_EQ(outcome.judged,
              bad.substr(0, 55) + other.substr(55, 5) + bad.substr(60, 10) + other.substr(70));
}

TEST(GatherRequest, ForgetsWithTime) {
    const std::string bad = Request(kBad);
    const struct {
        int64_t nPauseMs;
        uint8_t nAnswer;
    } rows[] = {{GATHERED_AGE_MS - 1, GATHER_JUDGE}, {GATHERED_AGE_MS, GATHER_PASS}};
    for (const auto& row : rows) {
        const int64_t nNowMs = Later();
        EXPECT_EQ(Send({.payload = bad.substr(0, 40)}, nNowMs).nAnswer, GATHER_WAIT);
        EXPECT_EQ(Send({.nSeq = 0x01020304 + 40, .payload = bad.substr(40)}, nNowMs + row.nPauseMs).nAnswer,
                  row.nAnswer);
    }
    // On a quiet host, too.
    const int64_t nQuietMs = Later();
    EXPECT_EQ(Send({.payload = bad.substr(0, 40)}, nQuietMs).nAnswer, GATHER_WAIT);
    const uint64_t nLost = Counted(COUNT_UNJUDGED_INCOMPLETE);
    AbandonOldRequests(nQuietMs + GATHERED_AGE_MS - 1);
    EXPECT_EQ(Counted(COUNT_UNJUDGED_INCOMPLETE), nLost);
    AbandonOldRequests(nQuietMs + GATHERED_AGE_MS);
    EXPECT_EQ(Counted(COUNT_UNJUDGED_INCOMPLETE), nLost + 1);
    // Each piece of a blocked connection keeps it in memory.
    int64_t nNowMs = Later();
    EXPECT_EQ(Send({.payload = bad}, nNowMs).nAnswer, GATHER_JUDGE);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(Send({.payload = bad}, nNowMs += BLOCKED_AGE_MS - 1).nAnswer, GATHER_DROP);
    EXPECT_EQ(Send({.payload = bad}, nNowMs + BLOCKED_AGE_MS).nAnswer, GATHER_JUDGE);
}

// A copy of a piece that is being judged must not slip past its own verdict.
TEST(GatherRequest, HoldsCopiesOfWhatIsBeingJudged) {
    const std::string bad = Request(kBad);
    const int64_t nNowMs = Later();
    EXPECT_EQ(Send({.nSeq = 1000, .payload = bad.substr(0, 40)}, nNowMs).nAnswer, GATHER_WAIT);
    const Bytes bytes = ComposePacket({.nSeq = 1040, .payload = bad.substr(40)});
    tagPacketInfo packet = SlotOf(bytes);
    ASSERT_EQ(ParseIPv4TCP(&packet, std::make_unique<tagWebRequest>().get()), 0);
    tagStreamBuffer buffer;
    tagPacketInfo part = DataPart(packet);
    ASSERT_EQ(GatherRequest(part, buffer, nNowMs), GATHER_JUDGE);
    EXPECT_EQ(Send({.nSeq = 1040, .payload = bad.substr(40)}, nNowMs).nAnswer, GATHER_DROP_COPY);
    EXPECT_EQ(Send({.nSeq = 1000 + uint32_t(bad.size()), .payload = "body"}, nNowMs).nAnswer, GATHER_PASS);
    RememberBlocked(packet, nNowMs);
    EXPECT_EQ(Send({.nSeq = 1040, .payload = bad.substr(40)}, nNowMs).nAnswer, GATHER_DROP);
}

// The model: requests cut into pieces, the pieces of all connections in one queue, two workers that take from
// it.
struct tagModelStream {
    std::string request;
    size_t nDecisive = 0;  // so many bytes and the server knows what is asked for
    uint16_t nPort;
    uint32_t nISN;
    std::string accepted;  // '1' where the server got the byte
    int nJudged = 0;
};

struct tagModelPiece {
    tagModelStream* pStream;
    size_t nFrom, nLength;
};

class GatheringModel : public testing::Test {
  protected:
    // Pieces at these cuts, in this order.
    void Add(const std::string& request, std::vector<size_t> cuts, const std::vector<size_t>& order) {
        auto stream = std::make_unique<tagModelStream>();
        stream->request = request;
        stream->accepted.assign(request.size(), '0');
        const bool bBad = request.find(kBad) != request.npos;
        while (!IsDecided(request.substr(0, stream->nDecisive), bBad))
            ++stream->nDecisive;
        stream->nPort = static_cast<uint16_t>(1024 + m_Streams.size());
        stream->nISN = static_cast<uint32_t>(m_Random()) | 0xFFFFF000;  // most of them wrap
        cuts.insert(cuts.begin(), 0);
        cuts.push_back(request.size());
        std::vector<tagModelPiece> pieces;
        for (const size_t i : order)
            pieces.push_back({stream.get(), cuts[i], cuts[i + 1] - cuts[i]});
        m_Queues.push_back(std::move(pieces));
        m_Streams.push_back(std::move(stream));
    }
    // Whether the blocked host is asked for in it, or anything at all.
    static bool IsDecided(const std::string& begun, bool bBad) {
        const Bytes bytes(begun.begin(), begun.end());
        for (std::span<const uint8_t> data = bytes; ReadRequestPrefix(data) == PREFIX_ENOUGH;) {
            const size_t nNext = FindNextRequest(data);
            const std::string first(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(nNext));
            if (!bBad || first.find(kBad) != first.npos) return true;
            data = data.subspan(nNext);
        }
        return false;
    }
    // Takes turns among `nAtOnce` connections.
    void Run(size_t nAtOnce) {
        std::vector<tagModelPiece> queue;
        for (size_t nFirst = 0; nFirst < m_Queues.size(); nFirst += nAtOnce) {
            const size_t nBehind = std::min(nFirst + nAtOnce, m_Queues.size());
            for (size_t nTurn = 0, nBefore = 1; queue.size() != nBefore; ++nTurn) {
                nBefore = queue.size();
                for (size_t i = nFirst; i < nBehind; ++i)
                    if (nTurn < m_Queues[i].size()) queue.push_back(m_Queues[i][nTurn]);
            }
        }
        std::atomic<size_t> nNext = 0;
        const auto work = [&] {
            for (size_t i = nNext++; i < queue.size(); i = nNext++)
                Deliver(queue[i]);
        };
        std::thread first(work), second(work);
        first.join();
        second.join();
    }
    void Deliver(const tagModelPiece& piece) {
        tagModelStream& stream = *piece.pStream;
        const auto nSeq = stream.nISN + static_cast<uint32_t>(piece.nFrom);
        const tagOutcome outcome = Send({.nSrcPort = stream.nPort,
                                         .nSeq = nSeq,
                                         .payload = stream.request.substr(piece.nFrom, piece.nLength)},
                                        m_nNowMs);
        const std::lock_guard lock(m_Lock);
        if (outcome.bAccepted) stream.accepted.replace(piece.nFrom, piece.nLength, piece.nLength, '1');
        if (outcome.nAnswer != GATHER_JUDGE) return;
        ++stream.nJudged;
        EXPECT_NE(stream.request.find(outcome.judged), std::string::npos);
    }
    // Against a judgement of the whole.
    void Check(bool bOnce) const {
        for (const auto& stream : m_Streams) {
            const bool bBlocked = stream->request.find(kBad) != std::string::npos;
            const size_t nServerHas = std::min(stream->accepted.find('0'), stream->request.size());
            if (bBlocked) {
                EXPECT_LT(nServerHas, stream->nDecisive) << "port " << stream->nPort;
            } else {
                EXPECT_EQ(nServerHas, stream->request.size()) << "port " << stream->nPort;
            }
            const int nRequests = stream->request.starts_with("PUT /b") ? 2 : 1;
            if (bOnce) {
                EXPECT_LE(stream->nJudged, nRequests) << "port " << stream->nPort;
            }
            EXPECT_GE(stream->nJudged, 1) << "port " << stream->nPort;
        }
    }
    const int64_t m_nNowMs = Later();
    std::mt19937 m_Random{20};
    std::vector<std::unique_ptr<tagModelStream>> m_Streams;
    std::vector<std::vector<tagModelPiece>> m_Queues;
    std::mutex m_Lock;
};

const std::string kRequests[] = {Request("a.example"),
                                 Request(kBad),
                                 Request(kBad, "PUT") + std::string(300, 'x'),
                                 LargeClientHelloFor("a.example"),
                                 LargeClientHelloFor(kBad),
                                 SplitRecords(LargeClientHelloFor(kBad), 300),
                                 Body(30) + std::string(30, 'x') + Request(kBad, "GET")};

TEST_F(GatheringModel, ThreePiecesInEveryOrder) {
    for (const std::string& request : kRequests) {
        std::vector<size_t> order = {0, 1, 2};
        do {
            for (int i = 0; i < 20; ++i) {
                const size_t nFirst = 2 + m_Random() % (request.size() - 6);
                const size_t nSecond = nFirst + 2 + m_Random() % (request.size() - nFirst - 3);
                Add(request, {nFirst, nSecond}, order);
            }
        } while (std::next_permutation(order.begin(), order.end()));
    }
    Run(3);
    Check(true);
}

// The start comes first; the others overtake each other by up to four places, and some come twice. Without
// the body that has a request behind it: one end of a request is remembered, so when both its requests come
// in such disorder, the second can pass.
TEST_F(GatheringModel, ManyPiecesAndCopies) {
    for (uint32_t i = 0; i < GATHERED_STREAMS; ++i) {
        const std::string& request = kRequests[m_Random() % (std::size(kRequests) - 1)];
        std::vector<size_t> cuts, order;
        for (size_t nCut = 6 + m_Random() % 20; nCut + 2 < request.size();) {
            cuts.push_back(nCut);
            nCut += 2 + m_Random() % (request.size() / 6);
        }
        for (size_t nPiece = 1; nPiece <= cuts.size(); ++nPiece) {
            order.push_back(nPiece);
            if (m_Random() % 3 == 0) order.push_back(m_Random() % (nPiece + 1));
        }
        for (size_t nFirst = 0; nFirst < order.size(); nFirst += 4) {
            const size_t nBehind = std::min(nFirst + 4, order.size());
            std::shuffle(order.begin() + nFirst, order.begin() + nBehind, m_Random);
        }
        Add(request, cuts, order);
        Deliver({m_Streams.back().get(), 0, cuts[0]});
    }
    Run(2);
    Check(false);
}

}  // namespace
