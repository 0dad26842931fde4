// Threads nobody waits for, on stacks of their own, and the allocator's footprint.
#pragma once

#include <cstddef>
#include <memory>

namespace pemo {

// Connection threads keep a 4 KiB message buffer and a 4 KiB cipher state on the
// stack and call into json-c, SQLite and libc; 256 KiB leaves ample headroom while
// an idle connection only touches a few pages of it.
inline constexpr std::size_t kThreadStackSize = std::size_t{256} * 1024;

namespace detail {
[[nodiscard]] int start_detached(void* (*entry)(void*), void* arg, std::size_t stack_size);
// The last step of every such thread, once its body is gone: frees the stacks
// of the threads that ended before it.
void retire_this_thread();

template <class Body>
void* run_body(void* arg) {
  {
    std::unique_ptr<Body> body(static_cast<Body*>(arg));
    (*body)();
  }
  retire_this_thread();
  return nullptr;
}
}  // namespace detail

// Starts `body` (any callable, move-only ones too) on a new thread that owns it
// and that nobody waits for. Result: 0, or the pthread_create error (the body is then destroyed).
template <class Body>
[[nodiscard]] int spawn_detached(Body body, std::size_t stack_size = kThreadStackSize) {
  auto cell = std::make_unique<Body>(std::move(body));
  int rc = detail::start_detached(&detail::run_body<Body>, cell.get(), stack_size);
  if (rc == 0) static_cast<void>(cell.release());  // the thread owns it now
  return rc;
}

// glibc gives each thread that allocates an arena of its own, up to eight per
// core, and keeps an arena's pages after its threads end: a burst of connections
// would leave the agent a megabyte larger for good. The agent's allocations are
// few and small (each thread's cache takes most without the lock), so one arena
// serves them; called before any thread starts. Elsewhere it does nothing.
void use_one_allocator_arena();

// Gives the allocator's free pages back to the system. After a burst of
// connections one long-lived block at the top of the heap, and the blocks each
// ended thread's cache returned as it exited, keep everything the burst freed
// resident otherwise. Elsewhere than glibc it does nothing.
void release_free_memory();

}  // namespace pemo
