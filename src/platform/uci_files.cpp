// The files of the UCI layer and their locks.
#include "platform/uci_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <deque>
#include <map>
#include <memory>
#include <new>
#include <thread>
#include <utility>
#include <vector>

#include "platform/lifetime.h"
#include "platform/uci.h"

namespace pemo::uci::files {
namespace {

// A writer that finds its package file replaced under it starts again; this
// many replacements in a row is a writer gone wrong, not a race.
constexpr int kMaxReopen = 100;
// How long to wait for another program's commit to rename its new file into place.
constexpr std::chrono::seconds kRenameWait{1};
constexpr std::chrono::microseconds kRenamePoll{200};

// Puts a finished rename on disk. Its result is not wanted: the rename is
// done, and a failed sync only delays it on disk.
void sync_dir(const std::string& dir) {
  UniqueFd fd(open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (fd.valid()) fsync(fd.get());
}

// Whether another program's commit has written its new package file beside
// `path` and not yet renamed it over: the platform's library releases the
// package lock before that rename, so the file still named is already outdated.
bool commit_in_flight(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string dir = slash == std::string::npos ? "." : path.substr(0, slash);
  const std::string prefix = "." + path.substr(slash + 1) + ".uci-";
  std::unique_ptr<DIR, int (*)(DIR*)> listing(opendir(dir.c_str()), closedir);
  if (!listing) return false;
  const auto now = std::chrono::system_clock::now();
  while (const dirent* entry = readdir(listing.get())) {
    struct stat st {};
    if (!std::string_view(entry->d_name).starts_with(prefix) ||
        fstatat(dirfd(listing.get()), entry->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0)
      continue;
    // A new file older than the wait was left by a crash: no rename will come.
    const auto written = std::chrono::system_clock::time_point(
        std::chrono::duration_cast<std::chrono::system_clock::duration>(
            std::chrono::seconds(st.st_mtim.tv_sec) + std::chrono::nanoseconds(st.st_mtim.tv_nsec)));
    if (now - written < kRenameWait) return true;
  }
  return false;
}

// Opens and locks a package file, again if a commit renamed a new file over it
// while this one waited, or is about to: the lock must be on the file that holds
// the latest text, or this writer would build on what another one replaced. A
// commit's rename follows its unlock within microseconds; one that does not come
// within a second is not waited for.
int lock_package(const std::string& path, int flags, bool exclusive, LockedFile& file) {
  const auto deadline = std::chrono::steady_clock::now() + kRenameWait;
  for (int replaced = 0; replaced < kMaxReopen;) {
    if (int rc = file.open(path, flags, kFileMode, exclusive); rc != kOk) return rc;
    // The new file is looked for before the name is checked: the other program
    // wrote it before it unlocked, so either it is still there to be seen, or its
    // rename is done and the name no longer leads to the file locked here. The
    // other order misses a rename that lands between the two looks.
    const bool in_flight = commit_in_flight(path) && std::chrono::steady_clock::now() <= deadline;
    struct stat held {}, named {};
    if (fstat(file.fd.get(), &held) != 0) return kErrIo;
    if (stat(path.c_str(), &named) != 0 || held.st_ino != named.st_ino || held.st_dev != named.st_dev) {
      ++replaced;
      continue;
    }
    if (!in_flight) return kOk;
    file = LockedFile{};  // let the other commit finish its rename
    std::this_thread::sleep_for(kRenamePoll);
  }
  return kErrIo;
}

// Gives a kept file the new text from its first byte: the descriptor's own
// position is wherever its last read or write left it.
void rewrite(int fd, std::string_view text) {
  if (ftruncate(fd, 0) == 0 && lseek(fd, 0, SEEK_SET) == 0)
    static_cast<void>(write_all(fd, text));  // best effort: see PackageGuard
}

// Whether another process has the file open. The platform's tool opens a
// package file before it asks for the lock, so a lock or a waiter alone (as
// /proc/locks lists them) misses a tool starved between the two.
bool open_elsewhere(int fd) {
  struct stat kept {};
  if (fstat(fd, &kept) != 0) return false;
  std::unique_ptr<DIR, int (*)(DIR*)> processes(opendir("/proc"), closedir);
  if (!processes) return true;  // unknown: keep it
  const std::string self = std::to_string(getpid());
  while (const dirent* process = readdir(processes.get())) {
    if (!std::isdigit(static_cast<unsigned char>(process->d_name[0])) || process->d_name == self) continue;
    const std::string dir = std::string("/proc/") + process->d_name + "/fd";
    std::unique_ptr<DIR, int (*)(DIR*)> fds(opendir(dir.c_str()), closedir);
    if (!fds) continue;  // gone, or not ours to see
    while (const dirent* entry = readdir(fds.get())) {
      struct stat st {};
      if (entry->d_name[0] != '.' && fstatat(dirfd(fds.get()), entry->d_name, &st, 0) == 0 &&
          st.st_ino == kept.st_ino && st.st_dev == kept.st_dev)
        return true;
    }
  }
  return false;
}

// Package files this process replaced, by package path, oldest first.
struct Writers {
  std::mutex mutex;  // one PackageGuard of this process at a time
  std::map<std::string, std::deque<UniqueFd>> replaced;
};
Writers& writers() { return process_lifetime<Writers>(); }  // owned here; used only through PackageGuard

}  // namespace

int LockedFile::open(const std::string& path, int flags, mode_t mode, bool exclusive) {
    fd = UniqueFd(::open(path.c_str(), flags | O_CLOEXEC, mode));
    if (!fd.valid()) return errno == ENOENT ? kErrNotFound : kErrIo;
    while (flock(fd.get(), exclusive ? LOCK_EX : LOCK_SH) != 0) {
      if (errno == EINTR) continue;
      if (errno == ENOSYS) break;  // a file system without locks, as the library allows
      return kErrIo;
    }
  return kOk;
}

int read_all(int fd, std::string& out, bool regular_only) try {
  out.clear();
  // No size limit, as the platform's library has none: a file it reads is read
  // here too, however long years of rules have made it.
  struct stat st {};
  const bool regular = fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
  if (regular_only && !regular) return kErrNotFound;
  if (regular && st.st_size > 0) out.reserve(static_cast<std::size_t>(st.st_size));
  std::array<char, 4096> chunk;
  for (;;) {
    const ssize_t n = read(fd, chunk.data(), chunk.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return kErrIo;
    if (n == 0) return kOk;
    out.append(chunk.data(), static_cast<std::size_t>(n));
    // A regular file's read comes back short only at its end: no read more to see 0.
    if (regular && static_cast<std::size_t>(n) < chunk.size()) return kOk;
  }
} catch (const std::bad_alloc&) {
  out.clear();
  return kErrMem;  // the library's answer when memory runs out
}

bool write_all(int fd, std::string_view data) {
  while (!data.empty()) {
    const ssize_t n = write(fd, data.data(), data.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    data.remove_prefix(static_cast<std::size_t>(n));
  }
  return true;
}

int read_locked(const std::string& path, std::string& out) {
  LockedFile file;
  // Not blocking, so that a FIFO in a package's place cannot hold the open;
  // only a regular file is read.
  if (int rc = file.open(path, O_RDONLY | O_NONBLOCK, 0, false); rc != kOk) {
    // A path that leads nowhere names no file, as when a folder on it is a file.
    return rc == kErrIo && (errno == ENOTDIR || errno == ELOOP || errno == ENAMETOOLONG) ? kErrNotFound : rc;
  }
  return read_all(file.fd.get(), out, true);
}


int replace_file(const std::string& path, std::string_view text, mode_t mode) {
  std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr), &std::free);
  const std::string target = real ? real.get() : path;
  const std::size_t slash = target.rfind('/');
  const std::string dir = slash == std::string::npos ? "." : target.substr(0, slash);
  std::string temp = dir + "/." + target.substr(slash + 1) + ".uci-XXXXXX";
  UniqueFd fd(mkostemp(temp.data(), O_CLOEXEC));
  if (!fd.valid()) return kErrIo;
  if (!write_all(fd.get(), text) || fsync(fd.get()) != 0 || fchmod(fd.get(), mode) != 0 ||
      rename(temp.c_str(), target.c_str()) != 0) {
    unlink(temp.c_str());
    return kErrIo;
  }
  sync_dir(dir);
  return kOk;
}

PackageGuard::PackageGuard() : writing_(writers().mutex) {}

PackageGuard::~PackageGuard() {
  // Under the writers' lock, still held here, the kept files of the path are
  // exactly the ones this guard locked: those it dropped were closed, which
  // unlocked them.
  if (!path_.empty())
    for (const UniqueFd& fd : writers().replaced[path_]) flock(fd.get(), LOCK_UN);
}

int PackageGuard::acquire(const std::string& path, int flags, bool exclusive) {
  path_ = path;
  for (UniqueFd& fd : writers().replaced[path]) {
    while (flock(fd.get(), exclusive ? LOCK_EX : LOCK_SH) != 0 && errno == EINTR) {
    }
  }
  return lock_package(path, flags, exclusive, current_);
}

void PackageGuard::replaced(std::string_view text) {
  auto& kept = writers().replaced[path_];
  for (UniqueFd& fd : kept) rewrite(fd.get(), text);
  rewrite(current_.fd.get(), text);
  kept.push_back(std::move(current_.fd));
  while (kept.size() > kKeepReplaced && (kept.size() > kKeepReplacedMax || !open_elsewhere(kept.front().get())))
    kept.pop_front();  // closing it releases its lock
}

}  // namespace pemo::uci::files
