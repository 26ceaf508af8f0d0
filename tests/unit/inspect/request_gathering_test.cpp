// Requests in several segments, piece by piece.
#include "inspect/request_gathering.h"

#include "common/traffic_counters.h"
#include "tests/support/client_hello_composer.h"
#include "tests/unit/inspect/gathered_packet.h"

namespace {

using namespace std::string_literals;

uint64_t Counted(uint8_t nCounter) {
    return g_pTrafficCounters->counts[nCounter];
}

// What a sequence of pieces of one connection gets for answers.
TEST(GatherRequest, AnswersPieceByPiece) {
    const std::string good = Request("a.example"), bad = Request(kBad);
    const std::string goodHead = good.substr(0, 40), goodRest = good.substr(40);
    const std::string badHead = bad.substr(0, 40), badRest = bad.substr(40);
    const std::string hello = LargeClientHelloFor("a.example");
    const std::string open = "GET / HTTP/1.1\r\nHost: a.example\r\n", five = Body(5);
    const std::string large = Body(5'000'000), endless = Body(5'000'000'000);
    const auto nOpen = uint32_t(open.size()), nFive = uint32_t(five.size());
    const auto nGood = uint32_t(good.size()), nBad = uint32_t(bad.size());
    struct tagStep {
        uint32_t nOffset;
        std::string data;
        uint8_t nAnswer, nStreamMark = STREAM_KEEP;
        uint8_t nFlags = FLAG_PSH | FLAG_ACK;
        uint32_t nCopied = 65535;
    };
    const uint8_t JUDGE = GATHER_JUDGE, WAIT = GATHER_WAIT, PASS = GATHER_PASS, DROP = GATHER_DROP;
    std::vector<tagStep> startless;
    for (uint32_t nOffset = 0; nOffset < 14 * 4; nOffset += 4)
        startless.push_back({nOffset, "body", PASS});
    const struct {
        const char* szReason;
        std::vector<tagStep> steps;
        int nCounter = -1;  // goes up by one
    } rows[] = {
        {"whole", {{0, good, JUDGE}}},
        {"no data", {{0, "", PASS}}},
        {"two pieces", {{0, goodHead, WAIT}, {40, goodRest, JUDGE}}, COUNT_GATHERED},
        {"split within the method", {{0, "GE", WAIT}, {2, Request(kBad, "GET").substr(2), JUDGE}}},
        {"a blocked one stays blocked",
         {{0, badHead, WAIT},
          {40, badRest, JUDGE},
          {40, badRest, DROP},
          {45, bad.substr(45), DROP},
          {0, bad, DROP},
          {nBad, "body", DROP},
          {0, badHead, WAIT},
          {40, badRest, DROP}}},
        {"again when it was judged", {{0, goodHead, WAIT}, {40, goodRest, JUDGE}, {40, goodRest, PASS}}},
        {"pieces without a start", startless, COUNT_UNJUDGED_INCOMPLETE},
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
          {nFive, "xxxxx" + badHead, WAIT},
          {nFive + 45, badRest, JUDGE},
          {nFive + 45, badRest, DROP}}},
        {"behind a body, first its rest",
         {{0, five, JUDGE}, {nFive + 45, badRest, PASS}, {nFive, "xxxxx" + badHead, JUDGE}}},
        {"inside of a body", {{0, Body(1000), JUDGE}, {uint32_t(Body(1000).size()), "x" + bad, PASS}}},
        {"a long body", {{0, large, JUDGE}, {uint32_t(large.size()), "x", PASS, STREAM_RELEASE}}},
        {"beyond all numbers", {{0, endless, JUDGE}, {uint32_t(endless.size()), "x", PASS, STREAM_RELEASE}}},
        {"another protocol behind it", {{0, five, JUDGE}, {nFive, "xxxxx?", PASS}, {nFive + 6, "x", PASS}}},
        {"behind a hello", {{0, hello, JUDGE}, {uint32_t(hello.size()), "x", PASS, STREAM_RELEASE}}},
        {"three requests, first the end of the third, then the first",
         {{nGood + 40, badRest, PASS}, {0, good, JUDGE}, {nGood, badHead, JUDGE}},
         COUNT_GATHERED},
        {"a gap, then an end: what is behind the gap waits for its start",
         {{0, goodHead, WAIT}, {nGood + 40, badRest, WAIT}, {40, goodRest, JUDGE}, {nGood, badHead, JUDGE}}},
        {"a new connection", {{0, goodHead, WAIT}, {1u << 30, bad, JUDGE}}, COUNT_UNJUDGED_INCOMPLETE},
        {"the ports of a blocked one used again", {{0, bad, JUDGE}, {1u << 30, good, JUDGE}, {0, bad, DROP}}},
        {"looked like a start", {{0, "P", WAIT}, {1, "xyz", PASS}, {4, good, JUDGE}}},
        {"with a FIN", {{0, bad, JUDGE, STREAM_KEEP, FLAG_FIN | FLAG_PSH | FLAG_ACK}, {0, bad, DROP}}},
        {"the first byte behind a SYN",
         {{0, badHead, WAIT, STREAM_KEEP, FLAG_SYN}, {41, badRest, JUDGE}, {41, "x", DROP}}},
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
        {"damaged hello", {{0, "\x16\3\1\0\4\1\xFF\0\0"s, PASS, STREAM_RELEASE}}, COUNT_UNJUDGED_DAMAGED},
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
    const std::pair<int64_t, uint8_t> rows[] = {{GATHERED_AGE_MS - 1, GATHER_JUDGE},
                                                {GATHERED_AGE_MS, GATHER_PASS}};
    for (const auto& [nPauseMs, nAnswer] : rows) {
        const int64_t nNowMs = Later();
        EXPECT_EQ(Send({.payload = bad.substr(0, 40)}, nNowMs).nAnswer, GATHER_WAIT);
        EXPECT_EQ(Send({.nSeq = 0x01020304 + 40, .payload = bad.substr(40)}, nNowMs + nPauseMs).nAnswer,
                  nAnswer);
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

}  // namespace
