#include "platform/thread.h"

#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>
#include <mutex>
#include <utility>
#include <vector>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "platform/lifetime.h"

namespace pemo {
namespace {

// A thread's own stack: mapped here, with a guard page below it.
struct StackMap {
  void* base = nullptr;
  std::size_t length = 0;  // the guard page included
  std::size_t guard = 0;
};

struct Ended {
  pthread_t thread;
  StackMap stack;
};

// The threads whose bodies have returned and whose stacks are still mapped;
// owned here, guarded by its own lock.
struct EndedThreads {
  std::mutex lock;
  std::vector<Ended> list;
};

// Each of them has returned from its body: the join waits only for its exit.
void join_and_unmap(const std::vector<Ended>& ended) {
  for (const Ended& thread : ended) {
    pthread_join(thread.thread, nullptr);
    munmap(thread.stack.base, thread.stack.length);
  }
}

void join_ended_at_exit();

EndedThreads& ended_threads() {
  static EndedThreads& threads = []() -> EndedThreads& {
    std::atexit(join_ended_at_exit);  // the last thread to end has nobody after it
    return process_lifetime<EndedThreads>();
  }();
  return threads;
}

void join_ended_at_exit() {
  std::vector<Ended> ended;
  {
    const std::lock_guard hold(ended_threads().lock);
    ended.swap(ended_threads().list);
  }
  join_and_unmap(ended);
}

// The calling thread's own stack.
thread_local StackMap own_stack;

// glibc puts a thread's static TLS at the top of a stack it did not allocate.
// The agent's is a few KiB, but the thread sanitizer keeps about 900 KiB of
// state per thread there, and the address sanitizer's frames are larger.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr std::size_t kSanitizerAllowance = std::size_t{2} * 1024 * 1024;
#else
constexpr std::size_t kSanitizerAllowance = 0;
#endif

StackMap map_stack(std::size_t size) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::size_t length = (size + kSanitizerAllowance + page - 1) / page * page + page;
  void* base = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
  if (base == MAP_FAILED) return {};
  if (mprotect(base, page, PROT_NONE) != 0) {
    munmap(base, length);
    return {};
  }
  return {base, length, page};
}

struct Start {
  void* (*entry)(void*);
  void* arg;
  StackMap stack;
};

void* start_on_own_stack(void* cell) {
  const std::unique_ptr<Start> start(static_cast<Start*>(cell));
  own_stack = start->stack;
  return start->entry(start->arg);
}

}  // namespace

namespace detail {

// glibc keeps the stack of every thread that ended, up to 40 MiB of them, with
// the pages it touched last still resident: after a burst of connections the
// agent would hold about 16 KiB for each one it ever served at once. Threads
// here run on stacks of their own instead, which glibc does not keep: each
// thread, as it ends, joins the threads that ended before it and unmaps their
// stacks, so at most the last one stays mapped.
int start_detached(void* (*entry)(void*), void* arg, std::size_t stack_size) {
  const StackMap stack = map_stack(stack_size);
  if (stack.base == nullptr) return EAGAIN;
  auto start = std::make_unique<Start>(Start{entry, arg, stack});
  pthread_attr_t attr;
  int rc = pthread_attr_init(&attr);
  if (rc == 0) {
    // A stack too small for the thread is refused here; glibc would otherwise
    // start the thread on a stack of its own choosing.
    rc = pthread_attr_setstack(&attr, static_cast<char*>(stack.base) + stack.guard, stack.length - stack.guard);
    pthread_t thread;
    if (rc == 0) rc = pthread_create(&thread, &attr, start_on_own_stack, start.get());
    pthread_attr_destroy(&attr);
  }
  if (rc != 0) {
    munmap(stack.base, stack.length);
    return rc;
  }
  static_cast<void>(start.release());  // the thread owns it now
  return 0;
}

void retire_this_thread() {
  std::vector<Ended> earlier;
  {
    const std::lock_guard hold(ended_threads().lock);
    earlier.swap(ended_threads().list);
    try {
      ended_threads().list.push_back({pthread_self(), own_stack});
    } catch (const std::bad_alloc&) {
      pthread_detach(pthread_self());  // out of memory, its stack stays mapped for good
    }
  }
  join_and_unmap(earlier);
}

}  // namespace detail

void use_one_allocator_arena() {
#if defined(__GLIBC__)
  mallopt(M_ARENA_MAX, 1);
#endif
}

void release_free_memory() {
#if defined(__GLIBC__)
  malloc_trim(0);
#endif
}

}  // namespace pemo
