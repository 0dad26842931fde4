#include "core/wan_watch.h"

#include <unistd.h>

#include <condition_variable>
#include <cstdio>
#include <thread>
#include <mutex>

#include "contract/connection.h"
#include "diag/probes.h"
#include "platform/clock.h"
#include "platform/thread.h"
#include "platform/lifetime.h"

namespace pemo {
namespace {

struct WanWatch {
  std::mutex mutex;  // wan_mutex
  std::condition_variable cond;  // wan_cond
};

WanWatch& wan_watch() { return process_lifetime<WanWatch>(); }

// Probes back to back, one second apart, while connections are open; asleep
// otherwise, so nothing is pinged while no application is connected. Going to
// sleep a second after the last connection ended, when its thread has exited
// too, it gives what the connections freed back to the system.
void wan_chk_func() {
  WanWatch& watch = wan_watch();
  for (bool probed = false;; probed = true) {
    if (probed && active_connections.load() == 0) release_free_memory();
    {
      std::unique_lock lock(watch.mutex);
      watch.cond.wait(lock, [] { return active_connections.load() > 0; });
    }
    wan_ping_probe();
    wan_port_speed_probe();
    clock_sleep(std::chrono::seconds(1));
  }
}

}  // namespace

void wan_chk_init() {
  if (spawn_detached(wan_chk_func) != 0)
    std::fprintf(stderr, "%s : wan_chk_func thread creation failed!!\n", "wan_chk_init");
}

void wan_first_connection() {
  WanWatch& watch = wan_watch();
  std::lock_guard lock(watch.mutex);
  wan_ping_probe();
  wan_port_speed_probe();
  watch.cond.notify_all();
}

}  // namespace pemo
