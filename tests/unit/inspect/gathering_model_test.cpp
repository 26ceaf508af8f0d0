// A model of the gathering: requests cut into pieces, the pieces of all connections in one queue, two workers
// that take from it. It keeps what the server would have got.
#include <atomic>
#include <mutex>
#include <random>
#include <thread>

#include "tests/support/client_hello_composer.h"
#include "tests/unit/inspect/gathered_packet.h"

namespace {

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
            const size_t nNext = FindNextRequest(data, FindRequestEnd(data));
            const std::string first(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(nNext));
            if (!bBad || first.find(kBad) != first.npos) return true;
            data = data.subspan(nNext);
        }
        return false;
    }
    // Takes turns among `nAtOnce` connections. No worker gets more than `nAhead` pieces ahead of the other,
    // which may have been put to sleep: of a connection only four pieces that came too early are kept.
    void Run(size_t nAtOnce, size_t nAhead) {
        std::vector<tagModelPiece> queue;
        for (size_t nFirst = 0; nFirst < m_Queues.size(); nFirst += nAtOnce) {
            const size_t nBehind = std::min(nFirst + nAtOnce, m_Queues.size());
            for (size_t nPiece = 0, nLeft = 1; nLeft > 0; ++nPiece) {
                nLeft = 0;
                for (size_t n = nFirst; n < nBehind; ++n)
                    if (nPiece < m_Queues[n].size()) queue.push_back(m_Queues[n][nPiece]), ++nLeft;
            }
        }
        std::atomic<size_t> nNext = 0;
        std::atomic<size_t> places[2] = {0, 0};
        const auto work = [&](size_t nWorker) {
            for (size_t i = nNext++; i < queue.size(); i = nNext++) {
                places[nWorker] = i;
                while (places[1 - nWorker] + nAhead < i)
                    std::this_thread::yield();
                Deliver(queue[i]);
            }
            places[nWorker] = queue.size();
        };
        std::thread first(work, 0), second(work, 1);
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
    Run(3, 6);
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
    Run(2, 2);
    Check(false);
}

}  // namespace
