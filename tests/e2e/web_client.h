// A small HTTP/1.1 client that tells a reset from an answer. No operation throws; one thread per connection.
#pragma once

#include <netinet/in.h>

#include <string>

constexpr char SERVER[] = "192.0.2.2";

// How a request ended.
struct tagReply {
    int nStatus = 0;  // the server's status; 0 without an answer
    bool bReset = false;
    int nMilliseconds = 0;
};

constexpr int REPLY_TIMEOUT_MS = 5000;

class WebClient {
  public:
    explicit WebClient(const std::string& address = SERVER, in_port_t nPort = 80);
    ~WebClient();
    WebClient(const WebClient&) = delete;
    WebClient& operator=(const WebClient&) = delete;

    bool IsOpen() const { return m_fd >= 0; }
    // GET over this connection, which stays open. `padding` bytes of cookie make the request long.
    tagReply Get(const std::string& host, const std::string& path = "/", size_t nPadding = 0);
    // The two halves of it: the first does not wait for anything.
    bool Send(const std::string& host, const std::string& path = "/", size_t nPadding = 0);
    tagReply Answer();
    // Bytes of any protocol, as one segment if nothing keeps them; then `nStatus` of the reply is the first
    // byte that comes back.
    bool SendBytes(const std::string& bytes);
    tagReply FirstByte();
    // The connection ends with a reset and leaves no port taken.
    void Drop();

  private:
    tagReply Await(int (*read)(int fd));

    int m_fd = -1;
};

// One GET over a connection of its own.
tagReply Get(const std::string& host, const std::string& path = "/", const std::string& address = SERVER,
             in_port_t nPort = 80);
