// Frame headers as raw bytes, for peers that send what the protocol client would
// refuse to build, and datagrams to the agent's discovery port on loopback.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdint>
#include <string>

#include "wire/frame.h"

namespace pemo::test {

inline std::string header_bytes(int version, int type, int length) {
  const HeaderBytes h = encode_header({static_cast<std::uint8_t>(version), static_cast<std::uint8_t>(type),
                                       static_cast<std::int16_t>(length)});
  return std::string(reinterpret_cast<const char*>(h.data()), h.size());
}

inline void send_to_agent(int sock, const std::string& datagram) {
  const sockaddr_in agent{AF_INET, htons(kServicePort), {htonl(INADDR_LOOPBACK)}, {}};
  sendto(sock, datagram.data(), datagram.size(), 0, reinterpret_cast<const sockaddr*>(&agent), sizeof agent);
}

// The next datagram `sock` receives, "" when none comes within `wait`.
inline std::string answer_to(int sock, std::chrono::milliseconds wait = std::chrono::seconds(3)) {
  pollfd waiting{sock, POLLIN, 0};
  std::string answer(4096, '\0');
  const ssize_t n = poll(&waiting, 1, static_cast<int>(wait.count())) == 1 ? recv(sock, answer.data(), answer.size(), 0) : 0;
  return answer.substr(0, n > 0 ? static_cast<std::size_t>(n) : 0);
}

}  // namespace pemo::test
