// Process-wide objects that threads running until the process ends rely on.
#pragma once

#include <memory>

namespace pemo {

// Made on first use and never destroyed: a detached thread (the WAN watcher, the
// discovery loop) must not find its mutex or condition variable torn down while
// the process exits around it.
template <class T>
T& process_lifetime() {
  static T* const object = std::make_unique<T>().release();
  return *object;
}

}  // namespace pemo
