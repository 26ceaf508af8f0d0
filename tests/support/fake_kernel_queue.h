// The kernel's side of the netfilter queue for unit tests: takes the place of libmnl's socket operations in a
// test program, so that the real receiver and workers run against messages that the test composes.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace fake_kernel {

struct tagVerdict {
    uint32_t nPacketId;
    uint32_t nVerdict;
    uint32_t nMark;  // 0 without one
};

// Forgets what earlier tests left.
void Reset();

// Makes the next opening step fail: 0 none, 12 open, 13 bind, 14 the first send.
void FailOpening(int nResult);

// Which error (a positive number) answers a request to switch one of these NFQA_CFG_F_* on. 0 and 0: none.
void RefuseFlags(uint32_t nFlags, int nErrno);

// Delivers one datagram to the receiver.
void Deliver(std::span<const uint8_t> message);

// Ends the receiver's next receive without data.
void CloseChannel();

// The next message that the daemon sends within that time; configuration messages included.
std::optional<std::vector<uint8_t>> NextSent(int nMilliseconds = 30000);

// The next verdict that the daemon sends, passing over configuration messages.
std::optional<tagVerdict> NextVerdict(int nMilliseconds = 30000);

// A queue message with packet header (unless nPacketId is 0) and payload (unless empty).
std::vector<uint8_t> QueueMessage(uint32_t nPacketId, std::span<const uint8_t> payload);

// What the kernel answers to a request that it could not carry out.
std::vector<uint8_t> ErrorMessage(int nErrno);

}  // namespace fake_kernel
