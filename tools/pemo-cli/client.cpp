#include "client.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <poll.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "wire/cipher.h"
#include "platform/files.h"

namespace pemo::client {
namespace {

bool read_exact(int fd, char* data, std::size_t count, std::string& error) {
  std::size_t got = 0;
  while (got < count) {
    ssize_t n = recv(fd, data + got, count - got, 0);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      error = errno == EAGAIN ? "timed out waiting for the reply" : error_text(errno);
      return false;
    }
    if (n == 0) {
      error = "connection closed by the agent";
      return false;
    }
    got += static_cast<std::size_t>(n);
  }
  return true;
}

}  // namespace

bool discover(const std::string& address, std::uint16_t port, std::chrono::milliseconds wait,
              std::string_view payload, std::vector<DiscoveryAnswer>& answers, std::string& error) {
  sockaddr_in target{};
  target.sin_family = AF_INET;
  target.sin_port = htons(port);
  if (inet_pton(AF_INET, address.c_str(), &target.sin_addr) != 1) {
    error = "not an IPv4 address: " + address;
    return false;
  }
  UniqueFd fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  int one = 1;
  if (!fd.valid() || setsockopt(fd.get(), SOL_SOCKET, SO_BROADCAST, &one, sizeof one) != 0) {
    error = error_text(errno);
    return false;
  }
  HeaderBytes bytes = encode_header(
      {kProtocolVersion, kTypeDiscovery, static_cast<std::int16_t>(payload.size())});
  std::string datagram(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  datagram.append(payload);
  if (sendto(fd.get(), datagram.data(), datagram.size(), 0, reinterpret_cast<sockaddr*>(&target),
             sizeof target) < 0) {
    error = error_text(errno);
    return false;
  }
  const auto deadline = std::chrono::steady_clock::now() + wait;
  std::vector<char> buffer(65536);
  for (;;) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline -
                                                                      std::chrono::steady_clock::now());
    pollfd waiting{fd.get(), POLLIN, 0};
    if (left.count() <= 0 || poll(&waiting, 1, static_cast<int>(left.count())) <= 0) return true;
    sockaddr_in from{};
    socklen_t from_length = sizeof from;
    ssize_t n = recvfrom(fd.get(), buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr*>(&from),
                         &from_length);
    if (n < 4) continue;
    DiscoveryAnswer answer;
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &from.sin_addr, text, sizeof text);
    answer.address = text;
    HeaderBytes header;
    std::memcpy(header.data(), buffer.data(), header.size());
    answer.header = decode_header(header);
    if (answer.header.length > 0)
      answer.payload.assign(buffer.data() + 4,
                            std::min<std::size_t>(static_cast<std::size_t>(n) - 4,
                                                  static_cast<std::size_t>(answer.header.length)));
    answers.push_back(std::move(answer));
  }
}

bool local_broadcasts(std::vector<std::string>& addresses, std::string& error) {
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) {
    error = error_text(errno);
    return false;
  }
  std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> owned(list, freeifaddrs);
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    const unsigned wanted = IFF_UP | IFF_BROADCAST;
    if ((entry->ifa_flags & wanted) != wanted || entry->ifa_broadaddr == nullptr ||
        entry->ifa_broadaddr->sa_family != AF_INET)
      continue;
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(entry->ifa_broadaddr)->sin_addr, text, sizeof text);
    if (std::find(addresses.begin(), addresses.end(), text) == addresses.end()) addresses.emplace_back(text);
  }
  return true;
}

std::string crypt(std::string_view text, std::string_view password) {
  std::string out(text);
  if (!password.empty()) SessionCipher(password).crypt(out.data(), out.size());
  return out;
}

Session Session::connect(const std::string& host, std::uint16_t port,
                         std::chrono::milliseconds timeout, std::string& error, const char* from) {
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  std::string service = std::to_string(port);
  if (int rc = getaddrinfo(host.c_str(), service.c_str(), &hints, &found); rc != 0) {
    error = gai_strerror(rc);
    return Session(UniqueFd());
  }
  std::unique_ptr<addrinfo, void (*)(addrinfo*)> addresses(found, freeaddrinfo);
  UniqueFd fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!fd.valid()) {
    error = error_text(errno);
    return Session(UniqueFd());
  }
  timeval tv{};
  tv.tv_sec = static_cast<time_t>(timeout.count() / 1000);
  tv.tv_usec = static_cast<suseconds_t>((timeout.count() % 1000) * 1000);
  setsockopt(fd.get(), SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
  setsockopt(fd.get(), SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
  sockaddr_in local{};
  local.sin_family = AF_INET;
  if (from != nullptr && (inet_pton(AF_INET, from, &local.sin_addr) != 1 ||
                          bind(fd.get(), reinterpret_cast<sockaddr*>(&local), sizeof local) != 0)) {
    error = std::string("cannot connect from ") + from;
    return Session(UniqueFd());
  }
  if (::connect(fd.get(), addresses->ai_addr, addresses->ai_addrlen) != 0) {
    error = error_text(errno);
    return Session(UniqueFd());
  }
  return Session(std::move(fd));
}

bool Session::send_raw(std::string_view bytes, std::string& error) {
  while (!bytes.empty()) {
    ssize_t n = send(fd_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      error = error_text(errno);
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(n));
  }
  return true;
}

bool Session::receive(std::string_view password, Reply& reply, std::string& error) {
  HeaderBytes bytes;
  if (!read_exact(fd_.get(), reinterpret_cast<char*>(bytes.data()), bytes.size(), error))
    return false;
  reply.header = decode_header(bytes);
  reply.payload.clear();
  if (reply.header.length > 0) {
    reply.payload.resize(static_cast<std::size_t>(reply.header.length));
    if (!read_exact(fd_.get(), reply.payload.data(), reply.payload.size(), error)) return false;
    reply.payload = crypt(reply.payload, password);
  }
  return true;
}

bool Session::exchange(std::uint8_t type, std::string_view text, std::string_view password,
                       Reply& reply, std::string& error) {
  if (text.empty() || text.size() > kMaxPayload) {
    error = "a request payload must hold 1 to 4092 bytes";
    return false;
  }
  FrameHeader header{kProtocolVersion, type, static_cast<std::int16_t>(text.size())};
  HeaderBytes bytes = encode_header(header);
  std::string message(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  message += crypt(text, password);
  return send_raw(message, error) && receive(password, reply, error);
}

}  // namespace pemo::client
