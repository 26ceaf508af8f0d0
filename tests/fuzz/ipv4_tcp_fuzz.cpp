// A queued packet. An odd type of service asks for the right checksums, so that the parser is met behind them
// too.
#include <cstdlib>

#include "block/block_reset.h"
#include "inspect/ipv4_tcp.h"
#include "inspect/protocol_detect.h"
#include "tests/support/packet_composer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    if (nSize > 65535) return 0;
    Bytes packet(pData, pData + nSize);
    if (nSize > 1 && packet[1] % 2 == 1) SignPacket(packet);

    tagPacketInfo info = SlotOf(packet);
    tagWebRequest request{};
    if (ParseIPv4TCP(&info, &request) != 0) return 0;
    if (info.pData + info.nDataLen != packet.data() + packet.size()) std::abort();
    if (info.pData < packet.data() + info.nIPHeaderLen + 20) std::abort();

    const int nResult = DetectProtocol(&info, &request);
    if ((nResult == 0) != (request.nProtocol != PROTO_NONE)) std::abort();
    if (request.nMethod >= HTTP_METHODS.size()) std::abort();

    const auto reset = BuildBlockReset(info);
    tagPacketInfo resetInfo{};
    resetInfo.pPacket = reset.data();
    resetInfo.nPacketLen = static_cast<uint16_t>(reset.size());
    if (ParseIPv4TCP(&resetInfo, &request) != 0) std::abort();
    return 0;
}
