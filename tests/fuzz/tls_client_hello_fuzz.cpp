#include "common/own_stdout.h"
#include "inspect/build_url.h"
#include "inspect/protocol_detect.h"
#include "inspect/tls_client_hello.h"
#include "tests/fuzz/fuzz_segment.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    if (nSize > 65535) return 0;
    g_bStdoutIsOurs = 0;
    const FuzzSegment segment(pData, nSize);
    tagWebRequest request{};
    const int nDetected = IsTLSClientHello(&segment.info, &request);
    const int nLength = ExtractTLSServerName(&segment.info, &request);
    RequireText(request.szHost);
    if (nLength == 0) Require(request.szHost[0] == '\0');
    if (nSize != 0 && nLength > 0) {
        Require(nDetected == 0 && std::strlen(request.szHost) <= static_cast<size_t>(nLength));
        BuildHTTPSURL(&request);
        Require(std::strncmp(request.szURL, "https://", 8) == 0);
    }

    // The inner parsers once more, without the record around them.
    for (const auto parse : {FindServerNameExtension, ParseServerNameList}) {
        char* szName = nullptr;
        const int nResult = parse({segment.info.pData, nSize}, &szName);
        Require((nResult >= 0) == (szName != nullptr));
        std::free(szName);
    }
    return 0;
}
