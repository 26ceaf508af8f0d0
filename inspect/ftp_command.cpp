#include "inspect/ftp_command.h"

#include <arpa/inet.h>

#include <span>

#include "inspect/protocol_detect.h"
#include "inspect/target_text.h"

int ExtractFTPArgument(const tagPacketInfo* pPacket, tagWebRequest* pRequest) {
    const std::span data(pPacket->pData, pPacket->nDataLen);
    const tagKeyword& keyword = FTP_COMMANDS[pRequest->nMethod];
    const ptrdiff_t nFound = FindKeyword(data, keyword);
    if (nFound >= 0) CopyTarget(data.subspan(nFound + keyword.nLength), *pRequest);
    return 0;
}

int SetFTPServerHost(const tagPacketInfo* pPacket, tagWebRequest* pRequest) {
    const in_addr server{pPacket->nDstAddr};
    // Not inet_ntoa: inet_ntop writes straight into the record, which no other worker shares.
    inet_ntop(AF_INET, &server, pRequest->szHost, sizeof pRequest->szHost);
    return 0;
}
