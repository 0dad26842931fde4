// Per-connection records: what parameter handlers keep between the requests of one
// TCP connection. Each connection thread adds its record on arrival, reaches it by
// its own thread id, and removes it when the connection ends.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <thread>

namespace pemo {

// What one handler subsystem keeps for a connection. The subsystem defines the
// type and is the only one to reach it; the record holds it and releases it with
// itself, without knowing what it holds.
class ConnectionState {
 public:
  // The state, made empty on first use. A slot serves one type all its life.
  template <class State>
  State& get() {
    if (!held_) {
      held_ = std::make_shared<State>();
      type_ = &kTypeTag<State>;
    }
    if (type_ != &kTypeTag<State>) std::abort();  // two subsystems sharing a slot is a bug
    return *static_cast<State*>(held_.get());
  }

 private:
  template <class State>
  static constexpr char kTypeTag = 0;
  std::shared_ptr<void> held_;
  const char* type_ = nullptr;
};

struct ConnectionRecord {
  std::thread::id owner;
  ConnectionState hosts;  // info/hosts.cpp: the host snapshot, the MAC of a name or type change
  ConnectionState diag;   // diag/diag.cpp: traceroute settings and hops, the routing table
};

// The record of the calling connection thread, or nullptr.
ConnectionRecord* own_connection_record();

// Number of connection threads that have registered; read by the WAN watcher.
extern std::atomic<int> active_connections;

// Appends a fresh record. 0, or -1 when memory is exhausted.
[[nodiscard]] int connection_record_add(std::thread::id owner);
// Unlinks and releases the first record of `owner`; nothing when there is none.
void connection_record_remove(std::thread::id owner);
// The first record of `owner`, or nullptr. The record stays valid until its owner
// removes it, and only its owner thread may use it.
ConnectionRecord* connection_record_find(std::thread::id owner);

}  // namespace pemo
