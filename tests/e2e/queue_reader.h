// The test program as reader of queue 0: sees what the rules send there and answers each packet itself.
#pragma once

#include <libmnl/libmnl.h>

#include <cstdint>
#include <optional>
#include <string>

struct tagQueued {
    uint32_t nPacketId;
    uint32_t nMark;    // of the packet
    bool bPush;        // its PSH flag
    std::string data;  // its TCP data
};

class QueueReader {
  public:
    QueueReader();
    ~QueueReader();
    QueueReader(const QueueReader&) = delete;
    QueueReader& operator=(const QueueReader&) = delete;

    // The next packet, which waits for its verdict; nothing when none comes in that time.
    std::optional<tagQueued> Next(int nMilliseconds = 1000);
    // NF_*; a mark sets the packet's mark, whole.
    void Answer(const tagQueued& packet, uint32_t nVerdict, std::optional<uint32_t> mark = {});

  private:
    mnl_socket* m_pSocket;
};
