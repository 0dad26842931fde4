#include "platform/thread.h"

#include <pthread.h>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace pemo::detail {

int start_detached(void* (*entry)(void*), void* arg, std::size_t stack_size) {
  pthread_attr_t attr;
  if (int rc = pthread_attr_init(&attr); rc != 0) return rc;
  pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
  pthread_attr_setstacksize(&attr, stack_size);
  pthread_t thread;
  int rc = pthread_create(&thread, &attr, entry, arg);
  pthread_attr_destroy(&attr);
  return rc;
}

}  // namespace pemo::detail

namespace pemo {

void use_one_allocator_arena() {
#if defined(__GLIBC__)
  mallopt(M_ARENA_MAX, 1);
#endif
}

}  // namespace pemo
