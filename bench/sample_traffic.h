// What the benchmarks of the road send: a request like a browser's, in the message that the kernel makes of
// it.
#pragma once

#include <arpa/inet.h>
#include <linux/netfilter/nfnetlink.h>

#include <string>

#include "intercept/queue_attributes.h"
#include "tests/support/packet_composer.h"

constexpr char HOST[] = "www.name.example";

// What a browser sends, 400 bytes or so.
inline std::string HTTPData() {
    return std::string("GET /one/two/page.html?query=1 HTTP/1.1\r\nHost: ") + HOST +
           "\r\nUser-Agent: " + std::string(120, 'u') + "\r\nAccept: " + std::string(100, 'a') +
           "\r\nAccept-Language: en\r\nConnection: keep-alive\r\n\r\n";
}

// The message that the kernel sends for a packet, in the order of its attributes.
struct Message {
    explicit Message(const std::string& data) {
        const Bytes packet = ComposePacket({.payload = data});
        pHeader = mnl_nlmsg_put_header(bytes);
        pHeader->nlmsg_type = NFNL_SUBSYS_QUEUE << 8 | NFQNL_MSG_PACKET;
        (void)mnl_nlmsg_put_extra_header(pHeader, sizeof(nfgenmsg));
        const nfqnl_msg_packet_hdr header{htonl(1), htons(0x0800), 4};
        mnl_attr_put(pHeader, NFQA_PACKET_HDR, sizeof header, &header);
        mnl_attr_put_u32(pHeader, NFQA_IFINDEX_OUTDEV, htonl(2));
        mnl_attr_put_u32(pHeader, NFQA_UID, htonl(1000));
        mnl_attr_put(pHeader, NFQA_PAYLOAD, packet.size(), packet.data());
    }
    alignas(nlmsghdr) uint8_t bytes[4096] = {};
    nlmsghdr* pHeader;
};
