#include "inspect/ipv4_tcp.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstring>

#include "inspect/excluded_range.h"
#include "inspect/internet_checksum.h"
#include "policy/policy_state.h"
#include "tests/support/packet_composer.h"

namespace {

const tagWebRequest kRequest{};

int Parse(const Bytes& packet) {
    tagPacketInfo info = SlotOf(packet);
    return ParseIPv4TCP(&info, &kRequest);
}

TEST(ParseIPv4TCP, FillsTheSlot) {
    const struct {
        std::string ipOptions, tcpOptions, payload;
    } cases[] = {
        {"", "", "GET / HTTP/1.1\r\n"},
        {"\x07\x07\x04\x01\x02\x03\x04\x01", std::string(12, '\1'), "odd"},  // both headers with options
        {std::string(40, '\1'), std::string(40, '\1'), "x"},                 // the longest headers
        {"", "", std::string(65000, 'x')},
    };
    for (const auto& c : cases) {
        const Bytes packet =
            ComposePacket({.ipOptions = c.ipOptions, .tcpOptions = c.tcpOptions, .payload = c.payload});
        tagPacketInfo info = SlotOf(packet);
        ASSERT_EQ(ParseIPv4TCP(&info, &kRequest), 0);
        EXPECT_EQ(info.nSrcAddr, inet_addr("192.0.2.10"));
        EXPECT_EQ(info.nDstAddr, inet_addr("198.51.100.20"));
        EXPECT_EQ(info.nSrcPort, 40000);
        EXPECT_EQ(info.nDstPort, 80);
        EXPECT_EQ(info.nSeq, 0x01020304u);
        EXPECT_EQ(info.nAck, 0xA0B0C0D0u);
        EXPECT_EQ(info.nIPHeaderLen, 20 + c.ipOptions.size());
        EXPECT_EQ(std::string(info.pData, info.pData + info.nDataLen), c.payload);
        EXPECT_EQ(std::memcmp(&info.nIPChecksum, packet.data() + 10, 2), 0);
        EXPECT_EQ(std::memcmp(&info.nTCPChecksum, packet.data() + info.nIPHeaderLen + 16, 2), 0);
    }
}

// Each packet is signed again after the change: only what the row names is wrong with it.
TEST(ParseIPv4TCP, RejectsHeadersThatDoNotFit) {
    const struct {
        const char* szReason;
        size_t nLength;  // cut to
        size_t nOffset;  // of the byte changed
        uint8_t nValue;
    } cases[] = {
        {"not even the shortest packet", 31, 0, 0x45},
        {"no room for a TCP header", 32, 0, 0x45},
        {"one byte short of a TCP header", 39, 0, 0x45},
        {"IP header shorter than its fixed part", 60, 0, 0x44},
        {"IP header reaches behind the packet", 40, 0, 0x4F},
        {"IP header leaves no room for a TCP header", 60, 0, 0x4C},
        {"TCP header shorter than its fixed part", 60, 32, 0x40},
        {"TCP header reaches behind the packet", 60, 32, 0xB0},
        {"UDP", 60, 9, IPPROTO_UDP},
    };
    for (const auto& c : cases) {
        Bytes packet = ComposePacket({.payload = std::string(20, 'x')});
        packet[c.nOffset] = c.nValue;
        packet = Bytes(packet.begin(), packet.begin() + c.nLength);
        SignPacket(packet);
        EXPECT_EQ(Parse(packet), -1) << c.szReason;
    }
    Bytes barelyWhole = ComposePacket({.payload = std::string(20, 'x')});
    barelyWhole[32] = 0xA0;  // all data becomes header
    SignPacket(barelyWhole);
    EXPECT_EQ(Parse(barelyWhole), 0);
    tagPacketInfo info{};
    EXPECT_EQ(ParseIPv4TCP(nullptr, &kRequest), 2);
    EXPECT_EQ(ParseIPv4TCP(&info, nullptr), 2);
}

TEST(ParseIPv4TCP, RejectsEverySingleFlippedBit) {
    const Bytes packet = ComposePacket({.payload = "GET / HTTP/1.1\r\n\r\n"});
    for (size_t i = 0; i < packet.size() * 8; ++i) {
        Bytes damaged = packet;
        damaged[i / 8] ^= static_cast<uint8_t>(1 << i % 8);
        EXPECT_EQ(Parse(damaged), -1) << "bit " << i;
    }
}

TEST(InternetChecksum, AgreesWithThePlainSumAtEveryLengthAndAlignment) {
    Bytes data(80);
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<uint8_t>(0xF1 * i + 0x93);
    for (size_t nOffset = 0; nOffset < 8; ++nOffset) {
        for (size_t nLength = 0; nLength + nOffset <= data.size(); ++nLength) {
            const Bytes part(data.begin() + nOffset, data.begin() + nOffset + nLength);
            EXPECT_EQ(ntohs(InternetChecksum(data.data() + nOffset, nLength, 0)), ReferenceChecksum(part))
                << nOffset << "+" << nLength;
        }
    }
}

TEST(InternetChecksum, CarriesAreNeverLost) {
    const Bytes longest(65535, 0xFF);
    EXPECT_EQ(ntohs(InternetChecksum(longest.data(), longest.size(), 0)), ReferenceChecksum(longest));
    EXPECT_EQ(InternetChecksum(longest.data(), 65534, 0xFFFFFFFF), 0);
    EXPECT_EQ(InternetChecksum(nullptr, 0, 0), 0xFFFF);
}

uint32_t Number(const char* szAddr) {
    return ntohl(inet_addr(szAddr));
}

TEST(IsDestinationExcluded, ComparesWithBothEndsOfEachRange) {
    tagAddrRange ranges[] = {
        {Number("10.0.0.0"), inet_addr("255.0.0.0")},
        {Number("192.0.2.77"), inet_addr("255.255.255.0")},  // begins inside its network
        {Number("240.0.0.0"), inet_addr("240.0.0.0")},       // above the largest signed number
        {Number("198.51.100.7"), inet_addr("255.255.255.255")},
    };
    g_ExcludedRanges = {std::size(ranges), ranges};
    const std::pair<const char*, int> cases[] = {
        {"9.255.255.255", 1},   {"10.0.0.0", 0},   {"10.255.255.255", 0},  {"11.0.0.0", 1},
        {"192.0.2.76", 1},      {"192.0.2.77", 0}, {"192.0.2.255", 0},     {"192.0.3.0", 1},
        {"239.255.255.255", 1}, {"240.0.0.0", 0},  {"255.255.255.255", 0}, {"198.51.100.7", 0},
    };
    for (const auto& [szDestination, nResult] : cases) {
        tagPacketInfo info{};
        info.nDstAddr = inet_addr(szDestination);
        EXPECT_EQ(IsDestinationExcluded(&info), nResult) << szDestination;
    }
    g_ExcludedRanges = {0, nullptr};
    tagPacketInfo info{};
    info.nDstAddr = inet_addr("10.0.0.0");
    EXPECT_EQ(IsDestinationExcluded(&info), 1) << "empty table";
}

TEST(ParseIPv4TCP, WhatTheKernelHasNotSignedIsNotTested) {
    Bytes packet = ComposePacket({.payload = "GET / HTTP/1.1\r\n\r\n"});
    packet[36] ^= 0xFF;  // the TCP checksum
    for (const bool bCut : {false, true}) {
        tagPacketInfo info = SlotOf(packet);
        info.bNoTCPChecksum = !bCut;
        info.bCut = bCut;
        if (bCut) info.nPacketLen -= 4;
        EXPECT_EQ(ParseIPv4TCP(&info, &kRequest), 0);
        EXPECT_EQ(info.nDataLen, bCut ? 14 : 18) << "what is there";
        packet[8] ^= 1;  // time to live
        EXPECT_EQ(ParseIPv4TCP(&info, &kRequest), -1) << "the IP header is signed in any case";
        packet[8] ^= 1;
    }
}

}  // namespace
