#include <arpa/inet.h>

#include <string_view>

#include "inspect/build_url.h"
#include "inspect/ftp_command.h"
#include "inspect/protocol_detect.h"
#include "tests/fuzz/fuzz_segment.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    if (nSize > 65535) return 0;
    FuzzSegment segment(pData, nSize);
    segment.info.nDstAddr = inet_addr("192.0.2.7");
    tagWebRequest request{};
    FindFTPCommand(&segment.info, &request);
    ExtractFTPArgument(&segment.info, &request);
    RequireText(request.szPath);
    SetFTPServerHost(&segment.info, &request);
    BuildFTPURL(&request);
    RequireText(request.szURL);
    Require(std::string_view(request.szURL).starts_with("ftp://"));
    return 0;
}
