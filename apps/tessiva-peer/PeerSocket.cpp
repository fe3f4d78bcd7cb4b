#include "PeerSocket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstring>

namespace tessiva::peer {

namespace {
std::optional<sockaddr_in> address(const std::string& host, std::uint16_t port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    if (::inet_pton(AF_INET, host.c_str(), &result.sin_addr) != 1)
        return std::nullopt;
    return result;
}
}  // namespace

PeerSocket::~PeerSocket() {
    if (fd_ >= 0)
        ::close(fd_);
}

std::optional<std::string> PeerSocket::bind(const std::string& host, std::uint16_t port) {
    auto local = address(host, port);
    if (!local)
        return "not an IPv4 address: " + host;
    fd_ = ::socket(AF_INET, SOCK_DGRAM, 0);
    if (fd_ < 0)
        return std::strerror(errno);
    if (::bind(fd_, reinterpret_cast<const sockaddr*>(&*local), sizeof(*local)) != 0) {
        return std::strerror(errno);
    }
    sockaddr_in bound{};
    socklen_t length = sizeof(bound);
    ::getsockname(fd_, reinterpret_cast<sockaddr*>(&bound), &length);
    boundPort_ = ntohs(bound.sin_port);
    return std::nullopt;
}

std::optional<std::string> PeerSocket::sendTo(const std::string& host, std::uint16_t port,
                                              const std::vector<std::uint8_t>& bytes) {
    auto remote = address(host, port);
    if (!remote)
        return "not an IPv4 address: " + host;
    const ssize_t sent = ::sendto(fd_, bytes.data(), bytes.size(), 0,
                                  reinterpret_cast<const sockaddr*>(&*remote), sizeof(*remote));
    if (sent < 0)
        return std::strerror(errno);
    return std::nullopt;
}

std::optional<Received> PeerSocket::receive(double seconds) {
    pollfd descriptor{fd_, POLLIN, 0};
    const int timeoutMs = static_cast<int>(std::lround(std::max(0.0, seconds) * 1000.0));
    if (::poll(&descriptor, 1, timeoutMs) <= 0)
        return std::nullopt;
    Received received;
    received.bytes.resize(65536);
    sockaddr_in from{};
    socklen_t length = sizeof(from);
    const ssize_t size = ::recvfrom(fd_, received.bytes.data(), received.bytes.size(), 0,
                                    reinterpret_cast<sockaddr*>(&from), &length);
    if (size < 0)
        return std::nullopt;  // e.g. a refusal reported for an earlier send
    received.bytes.resize(static_cast<std::size_t>(size));
    char text[INET_ADDRSTRLEN] = {};
    ::inet_ntop(AF_INET, &from.sin_addr, text, sizeof(text));
    received.host = text;
    received.port = ntohs(from.sin_port);
    return received;
}

}  // namespace tessiva::peer
