// The files of the UCI layer and their locks, for uci.cpp: reads and writes
// that take the platform library's locks, and the guard a writer holds.
#pragma once

#include <sys/types.h>

#include <mutex>
#include <string>
#include <string_view>

#include "platform/fd.h"

namespace pemo::uci::files {

// The library's mode for a file it creates when no package file tells another.
inline constexpr mode_t kFileMode = 0600;
// Package files this process replaced are kept open, and rewritten, for readers
// that opened them before their lock: at least this many, and beyond it those
// that another process still has open, up to the second.
inline constexpr std::size_t kKeepReplaced = 4;
inline constexpr std::size_t kKeepReplacedMax = 64;

// An open file holding a flock; closing it releases the lock.
struct LockedFile {
  UniqueFd fd;
  // kOk, kErrNotFound or kErrIo.
  int open(const std::string& path, int flags, mode_t mode, bool exclusive);
};

// Reads a whole file from the descriptor's position: kOk, kErrIo or kErrMem;
// with `regular_only`, kErrNotFound for anything but a regular file.
int read_all(int fd, std::string& out, bool regular_only = false);
bool write_all(int fd, std::string_view data);
// Reads a file under a shared lock. kErrNotFound when it is missing or no regular file.
int read_locked(const std::string& path, std::string& out);
// Writes `text` beside `path` and renames it over: a reader sees the old file or
// the new one, never a part of either; a failed write leaves the old file alone.
// A symbolic link is followed, so the file it names is replaced, not the link.
int replace_file(const std::string& path, std::string_view text, mode_t mode);

// Held while a change is staged (the package file shared) or committed
// (exclusive); one guard of this process at a time. Its invariants:
// - What it keeps: every package file this process's commits replaced, open,
//   at least the last 4 and any that another process still has open, at most 64.
// - Why: the platform's tool opens a package file before it waits for its lock
//   and then reads whatever that file holds. So each commit writes its new text
//   into every kept file too, from the first byte, and a guard locks the kept
//   files before the current one: a tool that waited on a replaced file reads the
//   newest text, and no write of ours runs beside a commit of its.
// - Bounds: a kept file is rewritten only under the guard's locks; a file dropped
//   past the bounds holds the text of the commit that dropped it.
class PackageGuard {
 public:
  PackageGuard();
  ~PackageGuard();
  PackageGuard(const PackageGuard&) = delete;
  PackageGuard& operator=(const PackageGuard&) = delete;
  // Locks the replaced files of `path`, then opens and locks `path` itself.
  int acquire(const std::string& path, int flags, bool exclusive);
  int fd() const { return current_.fd.get(); }
  // The current file was replaced by `text`: it and every kept file get the text.
  void replaced(std::string_view text);

 private:
  std::unique_lock<std::mutex> writing_;  // first made, last released
  std::string path_;
  LockedFile current_;
};

}  // namespace pemo::uci::files
