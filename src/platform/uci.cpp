// UCI files and their locks. The locks are the platform library's own, so the
// agent, the platform's `uci` tool and every other program on that library
// exclude each other: flock(2) on the package file, shared while it is read and
// exclusive while it is committed, and exclusive on a change file while records
// are appended to it or it is emptied.
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "platform/fd.h"
#include "platform/lifetime.h"
#include "platform/uci.h"
#include "platform/uci_files.h"

namespace pemo::uci {
namespace {

using files::kFileMode;
using files::LockedFile;
using files::PackageGuard;
using files::read_all;
using files::read_locked;
using files::replace_file;
using files::write_all;

// The library's mode for a save directory it creates when the config directory tells none.
constexpr mode_t kDirMode = 0700;

std::string config_path(const Dirs& dirs, std::string_view package) { return dirs.config + "/" + std::string(package); }
std::string change_path(const std::string& dir, std::string_view package) { return dir + "/" + std::string(package); }

// The change files of a package, in the order they apply: the further
// directories first, the save directory last.
std::vector<std::string> change_files(const Dirs& dirs, std::string_view package) {
  std::vector<std::string> files;
  for (const std::string& dir : dirs.more_changes) files.push_back(change_path(dir, package));
  files.push_back(change_path(dirs.save, package));
  return files;
}

using ChangeTexts = std::vector<std::optional<std::string>>;  // none: no such file

// Reads the change files, each under a shared lock; with `keep_saved`, the save
// directory's one is read under an exclusive lock that the caller keeps.
int read_changes(const Dirs& dirs, std::string_view package, ChangeTexts& texts,
                 LockedFile* keep_saved = nullptr) {
  texts.clear();
  const std::string saved = change_path(dirs.save, package);
  for (const std::string& file : change_files(dirs, package)) {
    std::string text;
    int rc = kOk;
    if (keep_saved != nullptr && file == saved) {
      rc = keep_saved->open(file, O_RDWR, 0, true);
      if (rc == kOk) rc = read_all(keep_saved->fd.get(), text);
    } else {
      rc = read_locked(file, text);
    }
    if (rc != kOk && rc != kErrNotFound) return rc;
    texts.push_back(rc == kOk ? std::optional(std::move(text)) : std::nullopt);
  }
  return kOk;
}

struct Loaded {
  std::shared_ptr<const Package> package;
  std::vector<Change> staged;
};

int build(std::string_view name, const std::string& config_text, const ChangeTexts& texts, Loaded& out,
          ParseError& error) {
  auto package = std::make_shared<Package>();
  if (int rc = parse_package(config_text, name, *package, error); rc != kOk) return rc;
  out.staged.clear();
  for (const auto& text : texts) {
    if (!text) continue;
    for (Change& change : parse_changes(*text, name)) {
      static_cast<void>(apply_change(*package, change));  // a change that no longer applies is dropped, as the library does
      out.staged.push_back(std::move(change));
    }
  }
  out.package = std::move(package);
  return kOk;
}

// Packages as parsed last, with the exact texts they were parsed from. A load
// always reads every file and reuses a parse only when all texts are the same
// byte for byte, so it never serves what the files no longer say, whoever wrote
// them and however fast; it saves only the parsing, most of a load's cost.
struct ParseCache {
  struct Entry {
    std::string config_text;
    ChangeTexts change_texts;
    Loaded loaded;
  };
  std::mutex mutex;
  std::map<std::string, Entry> entries;  // by package file path
};

ParseCache& parse_cache() { return process_lifetime<ParseCache>(); }

// Reads the package's files, each under its lock, and parses them (or reuses the parse).
int load_files(const Dirs& dirs, std::string_view name, Loaded& out, ParseError& error) {
  const std::string path = config_path(dirs, name);
  std::string config_text;
  ChangeTexts texts;
  if (int rc = read_locked(path, config_text); rc != kOk) return rc;
  if (int rc = read_changes(dirs, name, texts); rc != kOk) return rc;
  ParseCache& cache = parse_cache();
  {
    std::lock_guard lock(cache.mutex);
    auto it = cache.entries.find(path);
    if (it != cache.entries.end() && it->second.config_text == config_text && it->second.change_texts == texts) {
      out = it->second.loaded;
      return kOk;
    }
  }
  if (int rc = build(name, config_text, texts, out, error); rc != kOk) return rc;
  std::lock_guard lock(cache.mutex);
  cache.entries[path] = ParseCache::Entry{std::move(config_text), std::move(texts), out};
  return kOk;
}

}  // namespace

// The loads of this thread's open ReadScope, owned by it; none outside a scope.
struct ScopeReads {
  std::map<std::string, Loaded> loads;  // by package file and save directory
};

namespace {

thread_local ScopeReads* t_scope_reads = nullptr;

std::string scope_key(const Dirs& dirs, std::string_view name) { return config_path(dirs, name) + '\n' + dirs.save; }

// A write through this engine drops the package from the thread's scope before
// it reads the package (it must see the files) and after (they changed).
class Writing {
 public:
  Writing(const Dirs& dirs, std::string_view name) : key_(scope_key(dirs, name)) { forget(); }
  ~Writing() { forget(); }
  Writing(const Writing&) = delete;
  Writing& operator=(const Writing&) = delete;

 private:
  void forget() const {
    if (t_scope_reads != nullptr) t_scope_reads->loads.erase(key_);
  }
  std::string key_;
};

int load(const Dirs& dirs, std::string_view name, Loaded& out, ParseError& error) {
  if (!valid_package_name(name)) return kErrInval;
  const std::string key = scope_key(dirs, name);
  if (t_scope_reads != nullptr) {
    if (auto it = t_scope_reads->loads.find(key); it != t_scope_reads->loads.end()) {
      out = it->second;
      return kOk;
    }
  }
  const int rc = load_files(dirs, name, out, error);
  if (rc == kOk && t_scope_reads != nullptr) t_scope_reads->loads.emplace(key, out);
  return rc;
}

// The mode a new file of the package gets: its package file's, else `fallback`.
mode_t package_mode(const Dirs& dirs, std::string_view package, mode_t fallback) {
  struct stat st {};
  return stat(config_path(dirs, package).c_str(), &st) == 0 ? (st.st_mode & 07777) : fallback;
}

// Appends records to the package's change file under its exclusive lock, in one
// write, so a crash leaves at most a torn last record.
int append(const Dirs& dirs, std::string_view package, std::string_view records) {
  struct stat st {};
  if (stat(dirs.save.c_str(), &st) != 0) {
    const mode_t mode = stat(dirs.config.c_str(), &st) == 0 ? (st.st_mode & 07777) : kDirMode;
    if (mkdir(dirs.save.c_str(), mode) != 0 && errno != EEXIST) return kErrIo;
  } else if (!S_ISDIR(st.st_mode)) {
    return kErrIo;
  }
  LockedFile file;
  const mode_t mode = package_mode(dirs, package, kFileMode);
  if (file.open(change_path(dirs.save, package), O_RDWR | O_CREAT | O_APPEND, mode, true) != kOk) return kErrIo;
  return write_all(file.fd.get(), records) ? kOk : kErrIo;
}

}  // namespace

int load_shared(const Dirs& dirs, std::string_view name, std::shared_ptr<const Package>& out, ParseError* error) {
  ParseError ignored;
  Loaded loaded;
  const int rc = load(dirs, name, loaded, error != nullptr ? *error : ignored);
  if (rc == kOk) out = std::move(loaded.package);
  return rc;
}

int load_package(const Dirs& dirs, std::string_view name, Package& out, ParseError* error,
                 std::vector<Change>* staged) {
  ParseError ignored;
  Loaded loaded;
  const int rc = load(dirs, name, loaded, error != nullptr ? *error : ignored);
  if (rc != kOk) return rc;
  out = *loaded.package;
  if (staged != nullptr) *staged = std::move(loaded.staged);
  return kOk;
}

ReadScope::ReadScope() : reads_(t_scope_reads == nullptr ? std::make_unique<ScopeReads>() : nullptr) {
  if (reads_ != nullptr) t_scope_reads = reads_.get();
}

ReadScope::~ReadScope() {
  if (reads_ != nullptr) t_scope_reads = nullptr;
}

void forget_reads() {
  if (t_scope_reads != nullptr) t_scope_reads->loads.clear();
}

int stage(const Dirs& dirs, Command command, const Path& path, std::string_view value) {
  const Writing writing(dirs, path.package);
  if (!path.has_section || !valid_value(value)) return kErrInval;
  const bool option_only = command == Command::kListAdd || command == Command::kListDelete;
  if ((option_only && !path.has_option) || (command == Command::kReorder && path.has_option) ||
      command == Command::kAdd)
    return kErrInval;
  PackageGuard guard;
  if (int rc = guard.acquire(config_path(dirs, path.package), O_RDONLY, false); rc != kOk) return rc;
  Package package;
  if (int rc = load_package(dirs, path.package, package); rc != kOk) return rc;
  Change change{command, path.section, path.option, std::string(value), true};
  const bool clears = command == Command::kSet && value.empty();  // as the library: setting nothing deletes
  if (path.by_index) {
    const Resolved found = resolve(package, Path{path.package, {}, path.type, path.index, true, true, {}, false});
    // As the library: what needs the section to exist finds nothing; what
    // would write into it has nowhere to go.
    const bool finds = command == Command::kDelete || command == Command::kRename || command == Command::kReorder;
    if (found.section == nullptr) return clears ? kOk : finds ? kErrNotFound : kErrInval;
    change.section = found.section->name;
  }
  if (clears) {
    const Path named{path.package, change.section, {}, 0, false, true, change.option, path.has_option};
    if (resolve(package, named).found != Found::kComplete) return kOk;  // nothing to delete: no change
    change = Change{Command::kDelete, change.section, change.option, {}, false};
  }
  if (command == Command::kDelete) change.has_value = !value.empty();
  if (command == Command::kRename) {
    if (!valid_name(value)) return kErrInval;
    const Section* section = package.section(change.section);
    const bool taken = path.has_option ? section != nullptr && section->option(value) != nullptr
                                       : package.section(value) != nullptr;
    if (taken) return kErrDuplicate;
  }
  bool changed = false;
  if (int rc = apply_change(package, change, &changed); rc != kOk) return rc;
  return changed ? append(dirs, path.package, format_change(path.package, change)) : kOk;
}

int stage_set(const Dirs& dirs, const Path& path, std::string_view value) {
  return stage(dirs, Command::kSet, path, value);
}

int stage_add(const Dirs& dirs, std::string_view name, std::string_view type, std::string& section) {
  if (!valid_type(type)) return kErrInval;
  if (!valid_package_name(name)) return kErrInval;
  const Writing writing(dirs, name);
  PackageGuard guard;
  if (int rc = guard.acquire(config_path(dirs, name), O_RDONLY, false); rc != kOk) return rc;
  Package package;
  if (int rc = load_package(dirs, name, package); rc != kOk) return rc;
  section = anonymous_name(package, type);
  const Change change{Command::kAdd, section, {}, std::string(type), true};
  if (int rc = apply_change(package, change); rc != kOk) return rc;
  return append(dirs, name, format_change(name, change));
}

int stage_changes(const Dirs& dirs, std::string_view package, const std::vector<Change>& changes) {
  if (!valid_package_name(package)) return kErrInval;
  const Writing writing(dirs, package);
  PackageGuard guard;
  if (int rc = guard.acquire(config_path(dirs, package), O_RDONLY, false); rc != kOk) return rc;
  std::string records;
  for (const Change& change : changes) records += format_change(package, change);
  return records.empty() ? kOk : append(dirs, package, records);
}

int commit(const Dirs& dirs, std::string_view name) {
  if (!valid_package_name(name)) return kErrInval;
  const Writing writing(dirs, name);
  const std::string path = config_path(dirs, name);
  PackageGuard config;
  if (int rc = config.acquire(path, O_RDWR, true); rc != kOk) return rc;
  std::string config_text;
  if (int rc = read_all(config.fd(), config_text); rc != kOk) return rc;

  // The save directory's change file stays locked until it is emptied, so no
  // record appended meanwhile is emptied with the committed ones.
  LockedFile saved;
  ChangeTexts texts;
  if (int rc = read_changes(dirs, name, texts, &saved); rc != kOk) return rc;
  Loaded loaded;
  ParseError error;
  if (int rc = build(name, config_text, texts, loaded, error); rc != kOk) return rc;
  if (loaded.staged.empty()) return kOk;

  struct stat st {};
  if (fstat(config.fd(), &st) != 0) return kErrIo;
  const std::string text = format_package(*loaded.package);
  if (int rc = replace_file(path, text, st.st_mode & 07777); rc != kOk) return rc;
  config.replaced(text);
  // Killed before this line, the changes apply again on the next load; only a
  // list add and a delete by index are not the same when applied twice.
  if (saved.fd.valid() && ftruncate(saved.fd.get(), 0) != 0) return kErrIo;
  return kOk;
}

int write_package(const Dirs& dirs, const Package& package) {
  if (!valid_package_name(package.name)) return kErrInval;
  const Writing writing(dirs, package.name);
  const std::string path = config_path(dirs, package.name);
  PackageGuard config;
  if (int rc = config.acquire(path, O_RDWR | O_CREAT, true); rc != kOk) return rc;
  struct stat st {};
  if (fstat(config.fd(), &st) != 0) return kErrIo;
  const std::string text = format_package(package);
  if (int rc = replace_file(path, text, st.st_mode & 07777); rc != kOk) return rc;
  config.replaced(text);
  return kOk;
}

int revert(const Dirs& dirs, const Path& path) {
  if (!valid_package_name(path.package)) return kErrInval;
  const Writing writing(dirs, path.package);
  std::string section = path.section;
  if (path.by_index) {
    Package package;
    if (int rc = load_package(dirs, path.package, package); rc != kOk) return rc;
    const Resolved found = resolve(package, Path{path.package, {}, path.type, path.index, true, true, {}, false});
    if (found.section == nullptr) return kOk;  // no section: none of its changes
    section = found.section->name;
  }
  LockedFile saved;
  const int rc = saved.open(change_path(dirs.save, path.package), O_RDWR, 0, true);
  if (rc == kErrNotFound) return kOk;
  if (rc != kOk) return rc;
  std::string text;
  if (read_all(saved.fd.get(), text) != kOk) return kErrIo;
  std::string kept;
  for (const Change& change : parse_changes(text, path.package)) {
    const bool match = (!path.has_section || change.section == section) && (!path.has_option || change.option == path.option);
    if (!match) kept += format_change(path.package, change);
  }
  if (ftruncate(saved.fd.get(), 0) != 0 || lseek(saved.fd.get(), 0, SEEK_SET) != 0 || !write_all(saved.fd.get(), kept))
    return kErrIo;
  return kOk;
}

int revert(const Dirs& dirs, std::string_view package) {
  Path path;
  path.package = package;
  return revert(dirs, path);
}

std::vector<std::string> packages(const Dirs& dirs) {
  std::vector<std::string> names;
  std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(dirs.config.c_str()), closedir);
  if (!dir) return names;
  while (const dirent* entry = readdir(dir.get())) {
    struct stat st {};
    if (valid_package_name(entry->d_name) && stat(config_path(dirs, entry->d_name).c_str(), &st) == 0 &&
        !S_ISDIR(st.st_mode))
      names.emplace_back(entry->d_name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace pemo::uci
