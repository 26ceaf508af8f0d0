#include "inspect/build_request.h"

#include "common/traffic_counters.h"
#include "inspect/build_url.h"
#include "inspect/ftp_command.h"
#include "inspect/hello_prefix.h"
#include "inspect/http_request.h"
#include "inspect/live_detect.h"
#include "inspect/protocol_detect.h"
#include "inspect/request_prefix.h"
#include "inspect/tls_client_hello.h"
#include "service/service_config.h"

namespace {
int RecogniseRequest(const tagPacketInfo& packet, tagWebRequest& request);
bool FindServerName(const tagPacketInfo& packet, tagWebRequest& request);
}  // namespace

bool BuildRequest(tagPacketInfo& packet, tagWebRequest& request) {
    if (RecogniseRequest(packet, request) != 0) return false;
    switch (request.nProtocol) {
        case PROTO_HTTP:
            (void)ExtractHTTPRequest(&packet, &request);
            (void)BuildHTTPURL(&request);
            return true;
        case PROTO_HTTPS:
            if (!FindServerName(packet, request)) return false;
            (void)BuildHTTPSURL(&request);
            return true;
        case PROTO_FTP:
            (void)ExtractFTPArgument(&packet, &request);
            (void)SetFTPServerHost(&packet, &request);
            (void)BuildFTPURL(&request);
            return true;
        default:
            return false;
    }
}

namespace {
// As DetectProtocol returns; with LiveTraffic 1 by the start of the data alone.
int RecogniseRequest(const tagPacketInfo& packet, tagWebRequest& request) {
    if (g_bLiveTraffic != 1) return DetectProtocol(&packet, &request);
    tagRequestStart start;
    if (DetectStart({packet.pData, packet.nDataLen}, start) != PREFIX_ENOUGH) return -1;
    request.nProtocol = start.nProtocol;
    request.nMethod = start.nMethod;
    return 0;
}

// A name of a single character is not inspected.
bool FindServerName(const tagPacketInfo& packet, tagWebRequest& request) {
    if (g_bLiveTraffic == 1) {
        return FindHelloName({packet.pData, packet.nDataLen}, request.szHost) == PREFIX_ENOUGH;
    }
    if (ExtractTLSServerName(&packet, &request) > 1) return true;
    CountTraffic(COUNT_UNJUDGED_NO_NAME);
    return false;
}
}  // namespace
