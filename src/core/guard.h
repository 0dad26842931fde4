// What a stranger on the LAN can do, bounded: connections per address and in all,
// a growing pause before each wrong-key answer, and the one switch ("option
// strict 1" in /etc/config/pemo-agent) that restores the unbounded behaviour
// for conformance labs. The phone application's own exchanges never meet a bound.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

#include "platform/clock.h"

namespace pemo {

inline constexpr const char* kStrictOption = "pemo-agent.main.strict";

// Connections served at once, in all and from one address; one over is closed at once.
inline constexpr std::size_t kMaxConnections = 64;
inline constexpr std::size_t kMaxConnectionsPerPeer = 32;
// The accept loop's pause while the process is out of descriptors.
inline constexpr Clock::duration kAcceptBackoff = std::chrono::milliseconds(100);
// A connection that completes no message for this long is closed (the app
// reconnects, as after any closed session); a stalled stranger holds no thread.
inline constexpr Clock::duration kIdleLimit = std::chrono::minutes(2);
// Wrong keys answered at once from one address; after them each answer of that
// address waits for its turn, the turns spaced by a pause that doubles up to
// the last figure. Ten thousand guesses then take about a day.
inline constexpr int kFreeWrongKeys = 3;
inline constexpr Clock::duration kFirstWrongKeyPause = std::chrono::milliseconds(500);
inline constexpr Clock::duration kLongestWrongKeyPause = std::chrono::seconds(8);
// A discovery datagram that waited longer in the socket is dropped unanswered:
// the app has asked again by then, and a burst cannot queue minutes of pauses.
inline constexpr std::chrono::nanoseconds kDiscoveryStaleAfter = std::chrono::seconds(2);
// How many addresses the pauses are remembered for, and for how long.
inline constexpr std::size_t kTrackedPeers = 1024;
inline constexpr Clock::duration kWrongKeyMemory = std::chrono::minutes(15);

// An IPv4 address in network order; 0 for a peer without one (never bounded).
using PeerId = std::uint32_t;

// Reads the switch at start-up; hardened unless it reads "1".
void guard_load();
bool guard_strict();
void guard_set_strict(bool strict);

// A served connection's place under the caps; it leaves with the object.
class ConnectionSlot {
 public:
  ConnectionSlot() = default;
  explicit ConnectionSlot(PeerId peer) : peer_(peer), held_(true) {}
  ConnectionSlot(ConnectionSlot&& other) noexcept : peer_(other.peer_), held_(other.held_) { other.held_ = false; }
  ConnectionSlot& operator=(ConnectionSlot&&) = delete;
  ConnectionSlot(const ConnectionSlot&) = delete;
  ~ConnectionSlot();
  bool held() const { return held_; }

 private:
  PeerId peer_ = 0;
  bool held_ = false;
};

// A slot for a new connection of `peer`; an empty one when a cap is reached
// (never in strict mode).
ConnectionSlot connection_admit(PeerId peer);
std::size_t connections_admitted();

// A wrong key from `peer`: how long its answer waits (its turn among the
// answers of that address). Zero in strict mode, for peer 0 and for the first few.
Clock::duration wrong_key_wait(PeerId peer);
// A right key from `peer`: the address starts afresh.
void right_key(PeerId peer);

}  // namespace pemo
