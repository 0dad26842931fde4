#include "contract/connection.h"
#include "platform/lifetime.h"

#include <algorithm>
#include <list>
#include <mutex>
#include <new>

namespace pemo {

std::atomic<int> active_connections{0};

namespace {

// The list is shared by every connection thread; a std::list keeps each record at
// one address while others come and go.
struct ConnectionList {
  std::mutex mutex;
  std::list<ConnectionRecord> records;
};

ConnectionList& connection_list() { return process_lifetime<ConnectionList>(); }

}  // namespace

int connection_record_add(std::thread::id owner) {
  auto& list = connection_list();
  try {
    std::lock_guard lock(list.mutex);
    list.records.emplace_back().owner = owner;
  } catch (const std::bad_alloc&) {
    return -1;
  }
  return 0;
}

void connection_record_remove(std::thread::id owner) {
  auto& list = connection_list();
  std::list<ConnectionRecord> removed;  // released outside the lock
  std::lock_guard lock(list.mutex);
  auto it = std::find_if(list.records.begin(), list.records.end(),
                         [owner](const ConnectionRecord& r) { return r.owner == owner; });
  if (it != list.records.end()) removed.splice(removed.begin(), list.records, it);
}

ConnectionRecord* connection_record_find(std::thread::id owner) {
  auto& list = connection_list();
  std::lock_guard lock(list.mutex);
  auto it = std::find_if(list.records.begin(), list.records.end(),
                         [owner](const ConnectionRecord& r) { return r.owner == owner; });
  return it == list.records.end() ? nullptr : &*it;
}

ConnectionRecord* own_connection_record() {
  return connection_record_find(std::this_thread::get_id());
}


}  // namespace pemo
