#include <string_view>

#include "inspect/build_url.h"
#include "inspect/http_request.h"
#include "inspect/protocol_detect.h"
#include "tests/fuzz/fuzz_segment.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    if (nSize > 65535) return 0;
    const FuzzSegment segment(pData, nSize);
    tagWebRequest request{};
    FindHTTPMethod(&segment.info, &request);
    ExtractHTTPRequest(&segment.info, &request);
    RequireText(request.szHost);
    RequireText(request.szPath);
    BuildHTTPURL(&request);
    RequireText(request.szURL);
    Require(std::string_view(request.szURL).starts_with("http://"));

    const uint8_t* pCursor = segment.info.pData;
    uint32_t nLeft = segment.info.nDataLen;
    while (nLeft != 0) {
        const uint32_t nBefore = nLeft;
        const uint32_t nLength = NextHeaderLine(pCursor, nLeft);
        Require(nLeft < nBefore && nLength <= nLeft);
        Require(pCursor + nLeft == segment.info.pData + segment.info.nDataLen);
    }
    return 0;
}
