#include "inspect/ftp_command.h"

#include <arpa/inet.h>

#include <span>

#include "inspect/protocol_detect.h"
#include "inspect/target_text.h"

int ExtractFTPArgument(const tagPacketInfo& packet, tagWebRequest& request) {
    const std::span data(packet.pData, packet.nDataLen);
    const tagKeyword& keyword = FTP_COMMANDS[request.nMethod];
    const ptrdiff_t nFound = FindKeyword(data, keyword);
    if (nFound >= 0) CopyTarget(data.subspan(nFound + keyword.nLength), request);
    return 0;
}

int SetFTPServerHost(const tagPacketInfo& packet, tagWebRequest& request) {
    const in_addr server{packet.nDstAddr};
    // Not inet_ntoa: inet_ntop writes straight into the record, which no other worker shares.
    inet_ntop(AF_INET, &server, request.szHost, sizeof request.szHost);
    return 0;
}
