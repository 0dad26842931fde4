// The seam through which tests shorten the firmware download wait, as
// ScopedRunner replaces the command runner. The agent never uses it.
#pragma once

#include <chrono>

namespace pemo {

// The download wait: at most `steps` polls of `step` each (the gateway's 45 x 2 s).
struct DownloadWait {
  std::chrono::milliseconds step{2000};
  int steps = 45;
};

// Puts `wait` in place of the download wait for its lifetime.
class ScopedDownloadWait {
 public:
  explicit ScopedDownloadWait(DownloadWait wait);
  ~ScopedDownloadWait();
  ScopedDownloadWait(const ScopedDownloadWait&) = delete;
  ScopedDownloadWait& operator=(const ScopedDownloadWait&) = delete;

 private:
  DownloadWait previous_;
};

}  // namespace pemo
