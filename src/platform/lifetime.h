// Process-wide objects that threads running until the process ends rely on.
#pragma once

#include <memory>

namespace pemo {

// Made on first use and never destroyed: a detached thread (the WAN watcher, the
// discovery loop) must not find its mutex or condition variable torn down while
// the process exits around it.
// Every process-wide object with a destructor that a thread can reach is made
// here; `Tag` tells apart objects of one type (two locks of two files).
template <class T, class Tag = T>
T& process_lifetime() {
  static T* const object = std::make_unique<T>().release();
  return *object;
}

}  // namespace pemo
