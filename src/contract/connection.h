// Per-connection records: what parameter handlers keep between the requests of one
// TCP connection. Each connection thread adds its record on arrival, reaches it by
// its own thread id, and removes it when the connection ends.
#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <thread>

#include "platform/json.h"
#include "platform/probe_db.h"

namespace pemo {

struct ConnectionRecord {
  std::thread::id owner;
  JsonPtr trace_results;  // traceroute hops kept between requests
  JsonPtr route_results;  // routing table kept between requests
  std::string trace_host;  // at most 31 characters
  int trace_tries = 0;
  int trace_timeout = 0;
  int trace_max_hops = 0;
  QueryTable host_table;       // host snapshot taken at HostNumberOfEntries
  std::string remembered_mac;  // HostMAC of a name or type change, at most 23 characters
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
// Number of records in the list.
std::size_t connection_record_count();

}  // namespace pemo
