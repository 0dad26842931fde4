// The phone application's side of the session protocol: connect, frame, encipher
// with the password, and read back the deciphered reply.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "wire/frame.h"
#include "platform/fd.h"

namespace pemo::client {

// The feature request the phone application sends first.
inline constexpr std::string_view kFeatureRequest =
    R"({"Device":{"X_Halvo_Ext":{"AppInfo":{"MagicNum":"Q5190","AppVersion":1}}}})";
// The gateway's password until its owner changes it.
inline constexpr std::string_view kFactoryPassword = "5927";
// How long discovery answers are collected: the agent pauses half a second
// before each answer, and up to a second more just after it starts.
inline constexpr std::chrono::seconds kDiscoveryWait{3};
// Hosts read in one request: their replies stay well inside one message.
inline constexpr int kHostsPerRequest = 8;

struct Reply {
  FrameHeader header;
  std::string payload;  // deciphered; empty when the reply carries a status
  // The status of a reply without payload (0 or below), or the payload length.
  int status() const { return header.length; }
};

// Enciphers or deciphers one payload from a fresh key schedule.
std::string crypt(std::string_view text, std::string_view password);

struct DiscoveryAnswer {
  std::string address;  // the answering gateway
  FrameHeader header;
  std::string payload;  // its identity document; empty for a status
};

// Sends the discovery datagram to `address` (a gateway, or a broadcast address)
// and collects the answers that arrive within `wait`. False (with `error`) when
// the datagram cannot be sent.
bool discover(const std::string& address, std::uint16_t port, std::chrono::milliseconds wait,
              std::string_view payload, std::vector<DiscoveryAnswer>& answers, std::string& error);

// The broadcast address of every local IPv4 interface that is up and has one
// (loopback has none). False with `error` when the interfaces cannot be listed.
bool local_broadcasts(std::vector<std::string>& addresses, std::string& error);

class Session {
 public:
  Session() = default;  // not connected
  // A session over a stream socket that is already connected.
  explicit Session(UniqueFd fd) : fd_(std::move(fd)) {}
  // Connects to host:port, from the local IPv4 address `from` when one is given
  // (the agent bounds connections per address). On failure returns an invalid
  // session and sets `error`.
  static Session connect(const std::string& host, std::uint16_t port,
                         std::chrono::milliseconds timeout, std::string& error, const char* from = nullptr);

  bool valid() const { return fd_.valid(); }
  int fd() const { return fd_.get(); }

  // One request/reply exchange. false on a connection failure (with `error`).
  bool exchange(std::uint8_t type, std::string_view text, std::string_view password, Reply& reply,
                std::string& error);
  // Sends bytes as they are (tests use it for broken frames).
  bool send_raw(std::string_view bytes, std::string& error);
  // Reads one reply; the payload is deciphered with `password`.
  bool receive(std::string_view password, Reply& reply, std::string& error);

 private:
  UniqueFd fd_;
};

}  // namespace pemo::client
