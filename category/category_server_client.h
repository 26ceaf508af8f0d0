// One connection to the category server.
//
// Everything from Connect on shares one deadline, CATSERVER_TIMEOUT_MS after it: a server that hangs or
// dribbles costs the request that long and no more. A server that closes early is no failure: what it did not
// send reads as zero bytes.
//
// For one thread, which may be cancelled in any of the operations but Close: its owner then calls Close from
// a clean-up handler (there is no destructor, it would be skipped). Close is safe at any time and more than
// once.
#pragma once

#include <netinet/in.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

constexpr int CATSERVER_TIMEOUT_MS = 2000;

class CategoryServerClient {
  public:
    // A host text that does not fit becomes cut; one that is no IPv4 address stands for 0.0.0.0, this host.
    void SetHost(std::string_view szHost);
    void SetPort(uint16_t nPort) { m_nPort = nPort; }

    // False when there is no connection in time; nothing is open then.
    bool Connect();

    // Sends the whole buffer. False when time ran out; a server that has closed is not told from one that has
    // not, since its reply may be there to read.
    bool Write(const void* pBuffer, size_t nBytes);

    // Zeroes the buffer, then fills it until it is full or the server closes. Returns how many bytes came, or
    // -1 when time ran out.
    ssize_t Read(void* pBuffer, size_t nBytes);

    void Close();

  private:
    bool FinishConnect();
    bool WaitFor(short nEvents) const;

    sockaddr_in m_Address = {};
    int32_t m_nSocket = -1;
    char m_szHost[INET_ADDRSTRLEN] = {};
    uint16_t m_nPort = 0;     // host order
    int64_t m_nDeadline = 0;  // milliseconds of the monotonic clock
};
