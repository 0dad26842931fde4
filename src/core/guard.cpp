#include "core/guard.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <string>
#include <unordered_map>

#include "platform/cfg.h"
#include "platform/lifetime.h"
#include "platform/log.h"

namespace pemo {
namespace {

struct PeerRecord {
  std::size_t connections = 0;
  int wrong_keys = 0;
  Clock::time_point next_turn{};  // when the next wrong-key answer may go
};

// Owned here: the accept loop admits, connection threads leave and report keys.
struct Guard {
  std::atomic<bool> strict{false};
  std::mutex mutex;
  std::size_t connections = 0;
  std::unordered_map<PeerId, PeerRecord> peers;
};

Guard& guard() { return process_lifetime<Guard>(); }

// Forgets an address once it holds no connection and its pauses are long over.
void forget_if_idle(Guard& g, std::unordered_map<PeerId, PeerRecord>::iterator it, Clock::time_point now) {
  if (it->second.connections == 0 && (it->second.wrong_keys == 0 || it->second.next_turn + kWrongKeyMemory < now))
    g.peers.erase(it);
}

// The record of `peer`, made room for; null when every tracked address still
// holds connections (a new address is then refused as the caps would refuse it).
PeerRecord* record_of(Guard& g, PeerId peer, Clock::time_point now) {
  if (auto it = g.peers.find(peer); it != g.peers.end()) return &it->second;
  if (g.peers.size() >= kTrackedPeers) {
    for (auto it = g.peers.begin(); it != g.peers.end();) forget_if_idle(g, it++, now);
    if (g.peers.size() >= kTrackedPeers) {
      const auto oldest = std::min_element(g.peers.begin(), g.peers.end(), [](const auto& a, const auto& b) {
        return (a.second.connections == 0) > (b.second.connections == 0) ||
               ((a.second.connections == 0) == (b.second.connections == 0) && a.second.next_turn < b.second.next_turn);
      });
      if (oldest->second.connections != 0) return nullptr;
      g.peers.erase(oldest);
    }
  }
  return &g.peers[peer];
}

}  // namespace

void guard_load() {
  std::string strict = kStrictOption;
  guard_set_strict(cfg_get(strict) == 0 && strict == "1");
  if (guard_strict()) log_msg(kLogWarning, "strict: no bound on connections, wrong keys or discovery\n");
}

bool guard_strict() { return guard().strict.load(std::memory_order_relaxed); }

void guard_set_strict(bool strict) {
  guard().strict.store(strict, std::memory_order_relaxed);
  log_mask_secrets(!strict);
}

ConnectionSlot connection_admit(PeerId peer) {
  Guard& g = guard();
  std::lock_guard lock(g.mutex);
  PeerRecord* record = record_of(g, peer, clock_now());
  if (!guard_strict() && (record == nullptr || g.connections >= kMaxConnections ||
                          (peer != 0 && record->connections >= kMaxConnectionsPerPeer)))
    return {};
  if (record != nullptr) ++record->connections;
  ++g.connections;
  return ConnectionSlot(peer);
}

std::size_t connections_admitted() {
  Guard& g = guard();
  std::lock_guard lock(g.mutex);
  return g.connections;
}

ConnectionSlot::~ConnectionSlot() {
  if (!held_) return;
  Guard& g = guard();
  std::lock_guard lock(g.mutex);
  --g.connections;
  if (auto it = g.peers.find(peer_); it != g.peers.end()) {
    if (it->second.connections > 0) --it->second.connections;
    forget_if_idle(g, it, clock_now());
  }
}

Clock::duration wrong_key_wait(PeerId peer) {
  if (guard_strict() || peer == 0) return {};
  Guard& g = guard();
  std::lock_guard lock(g.mutex);
  const Clock::time_point now = clock_now();
  PeerRecord* record = record_of(g, peer, now);
  if (record == nullptr) return kLongestWrongKeyPause;
  if (record->wrong_keys > 0 && record->next_turn + kWrongKeyMemory < now) record->wrong_keys = 0;
  const int beyond = ++record->wrong_keys - kFreeWrongKeys;
  if (beyond <= 0) {
    record->next_turn = std::max(record->next_turn, now);
    return {};
  }
  Clock::duration pause = kFirstWrongKeyPause;
  for (int k = 1; k < beyond && pause < kLongestWrongKeyPause; ++k) pause *= 2;
  record->next_turn = std::max(record->next_turn, now) + std::min(pause, kLongestWrongKeyPause);
  return record->next_turn - now;
}

void right_key(PeerId peer) {
  Guard& g = guard();
  std::lock_guard lock(g.mutex);
  if (auto it = g.peers.find(peer); it != g.peers.end()) {
    it->second.wrong_keys = 0;
    it->second.next_turn = {};
  }
}

}  // namespace pemo
