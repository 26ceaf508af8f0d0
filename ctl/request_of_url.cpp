#include "ctl/request_of_url.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <memory>

#include "common/ascii.h"
#include "common/copy_text.h"
#include "ctl/entry_check.h"
#include "ctl/output.h"
#include "inspect/build_url.h"
#include "inspect/ftp_command.h"
#include "inspect/http_request.h"
#include "inspect/protocol_detect.h"
#include "intercept/packet_info.h"

namespace {

// Longer ones do not fit into one segment with the rest of the request.
constexpr size_t MAX_URL_LENGTH = 1300;
constexpr std::array<const char*, 3> SCHEMES = {"http", "https", "ftp"};

std::string SegmentData(const tagURLParts& url);
bool BuildHTTPSRequest(const tagURLParts& url, tagWebRequest& request);

}  // namespace

tagURLParts SplitURL(const std::string& url) {
    const auto refuse = [&url](const char* szWhy) {
        throw CtlError("refused: " + Quoted(url) + " " + szWhy);
    };
    const auto isBlankOrControl = [](unsigned char c) { return c <= ' ' || c == 0x7F; };
    if (url.size() > MAX_URL_LENGTH) refuse("is too long for one packet");
    if (std::any_of(url.begin(), url.end(), isBlankOrControl))
        refuse("contains a blank or a control character");
    const size_t nScheme = url.find("://");
    tagURLParts parts{url.substr(0, nScheme), {}, {}, {}};
    std::transform(parts.scheme.begin(), parts.scheme.end(), parts.scheme.begin(), AsciiLower<char>);
    if (nScheme == url.npos || std::count(SCHEMES.begin(), SCHEMES.end(), parts.scheme) == 0) {
        refuse("does not begin with http://, https:// or ftp://");
    }
    const size_t nAuthority = nScheme + 3;
    const size_t nTarget = std::min(url.find_first_of("/?#", nAuthority), url.size());
    parts.authority = url.substr(nAuthority, nTarget - nAuthority);
    parts.authority.erase(0, parts.authority.rfind('@') + 1);
    parts.host = parts.authority.substr(0, parts.authority.find(':'));
    if (NamesIPv6Address(parts.authority)) refuse("names an IPv6 address; websec sees IPv4 only");
    if (parts.host.empty()) refuse("names no host");
    // A browser keeps the fragment to itself.
    parts.target = url.substr(nTarget, url.find('#', nTarget) - nTarget);
    if (!parts.target.starts_with('/')) parts.target.insert(0, 1, '/');
    return parts;
}

std::vector<uint32_t> ResolveHost(const std::string& host) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* pFound = nullptr;
    if (getaddrinfo(host.c_str(), nullptr, &hints, &pFound) != 0) return {};
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> found(pFound, freeaddrinfo);
    std::vector<uint32_t> addresses;
    for (const addrinfo* p = pFound; p; p = p->ai_next) {
        addresses.push_back(reinterpret_cast<const sockaddr_in*>(p->ai_addr)->sin_addr.s_addr);
    }
    return addresses;
}

bool BuildRequest(const tagURLParts& url, uint32_t nDstAddr, tagWebRequest& request) {
    if (url.scheme == "https") return BuildHTTPSRequest(url, request);
    const std::string data = SegmentData(url);
    tagPacketInfo packet{};
    packet.nDstAddr = nDstAddr;
    packet.pData = reinterpret_cast<const uint8_t*>(data.data());
    packet.nDataLen = static_cast<uint16_t>(data.size());
    if (DetectProtocol(&packet, &request) != 0) return false;
    if (request.nProtocol == PROTO_HTTP) {
        (void)ExtractHTTPRequest(&packet, &request);
        (void)BuildHTTPURL(&request);
        return true;
    }
    if (request.nProtocol != PROTO_FTP) return false;
    (void)ExtractFTPArgument(&packet, &request);
    (void)SetFTPServerHost(&packet, &request);
    (void)BuildFTPURL(&request);
    return true;
}

namespace {

std::string SegmentData(const tagURLParts& url) {
    if (url.scheme == "http") {
        return "GET " + url.target + " HTTP/1.1\r\nHost: " + url.authority +
               "\r\nConnection: keep-alive\r\n\r\n";
    }
    return (url.target.ends_with('/') ? "CWD " : "RETR ") + url.target + "\r\n";
}

// Of a TLS connection only the server name is seen, and none of a single character.
bool BuildHTTPSRequest(const tagURLParts& url, tagWebRequest& request) {
    if (url.host.size() <= 1) return false;
    request.nProtocol = PROTO_HTTPS;
    (void)CopyText(request.szHost, url.host);
    (void)BuildHTTPSURL(&request);
    return true;
}

}  // namespace
