#include "platform/uci.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "platform/fd.h"
#include "platform/lifetime.h"

namespace pemo::uci {
namespace {

// Configuration files are small; anything larger is refused rather than read whole.
constexpr std::size_t kMaxFileSize = 1 << 20;

bool name_chars(std::string_view text, bool allow_dash) {
  if (text.empty()) return false;
  return std::all_of(text.begin(), text.end(), [allow_dash](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           c == '_' || (allow_dash && c == '-');
  });
}

// Reads the words of UCI text: bare, 'single-quoted' (no escapes) and
// "double-quoted" (backslash escapes) pieces, concatenated when adjacent.
class Tokenizer {
 public:
  explicit Tokenizer(std::string_view text) : text_(text) {}

  bool at_end() const { return pos_ >= text_.size(); }
  std::size_t pos() const { return pos_; }
  void seek(std::size_t pos) { pos_ = pos; }
  int line() const { return line_; }

  // The words up to the end of the line; quoted words may span lines.
  bool read_line(std::vector<std::string>& words, ParseError& error) {
    words.clear();
    while (pos_ < text_.size()) {
      char c = text_[pos_];
      if (c == '\n') {
        ++pos_;
        ++line_;
        return true;
      }
      if (c == ' ' || c == '\t' || c == '\r') {
        ++pos_;
      } else if (c == '#' ) {
        while (pos_ < text_.size() && text_[pos_] != '\n') ++pos_;
      } else {
        std::string word;
        if (!read_word(word, error)) return false;
        words.push_back(std::move(word));
      }
    }
    return true;
  }

  bool read_word(std::string& word, ParseError& error) {
    while (pos_ < text_.size()) {
      char c = text_[pos_];
      if (c == ' ' || c == '\t' || c == '\r' || c == '\n') return true;
      if (c == '\0') return fail(error, "unexpected NUL byte");
      ++pos_;
      if (c == '\'' || c == '"') {
        const int opened = line_;
        if (!read_quoted(word, c, c == '"')) {
          line_ = opened;  // report where the quote began, not where the text ran out
          return fail(error, "unterminated quote");
        }
      } else if (c == '\\') {
        if (pos_ >= text_.size()) return fail(error, "dangling backslash");
        if (text_[pos_] == '\0') return fail(error, "unexpected NUL byte");
        if (text_[pos_] == '\n') ++line_;
        else word += text_[pos_];
        ++pos_;
      } else {
        word += c;
      }
    }
    return true;
  }

 private:
  bool read_quoted(std::string& word, char quote, bool escapes) {
    while (pos_ < text_.size()) {
      char c = text_[pos_++];
      if (c == '\0') return false;
      if (c == quote) return true;
      if (c == '\n') ++line_;
      if (escapes && c == '\\' && pos_ < text_.size() && text_[pos_] != '\0') c = text_[pos_++];
      word += c;
    }
    return false;
  }

  bool fail(ParseError& error, const char* message) const {
    error.line = line_;
    error.message = message;
    return false;
  }

  std::string_view text_;
  std::size_t pos_ = 0;
  int line_ = 1;
};

std::string anonymous_name(std::size_t position, std::string_view type) {
  std::uint32_t hash = 2166136261u;
  for (char c : type) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
  std::array<char, 16> name;
  std::snprintf(name.data(), name.size(), "cfg%02zx%04x", position & 0xff, hash & 0xffff);
  return name.data();
}

int read_file(const std::string& path, std::string& out) {
  UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd.valid()) return errno == ENOENT ? kErrNotFound : kErrIo;
  out.clear();
  std::array<char, 4096> chunk;
  for (;;) {
    ssize_t n = read(fd.get(), chunk.data(), chunk.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return kErrIo;
    if (n == 0) return kOk;
    if (out.size() + static_cast<std::size_t>(n) > kMaxFileSize) return kErrIo;
    out.append(chunk.data(), static_cast<std::size_t>(n));
  }
}

bool write_all(int fd, std::string_view data) {
  while (!data.empty()) {
    ssize_t n = write(fd, data.data(), data.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    data.remove_prefix(static_cast<std::size_t>(n));
  }
  return true;
}

std::string delta_path(const Dirs& dirs, std::string_view package) {
  return dirs.save + "/" + std::string(package);
}

// One lock per package, in the save directory: held shared while a package is
// read, exclusively while its changes are staged, committed or reverted.
class PackageLock {
 public:
  int acquire(const Dirs& dirs, std::string_view package, bool exclusive) {
    if (mkdir(dirs.save.c_str(), 0700) != 0 && errno != EEXIST) return kErrIo;
    std::string path = dirs.save + "/." + std::string(package) + ".lock";
    fd_ = UniqueFd(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!fd_.valid()) return kErrIo;
    while (flock(fd_.get(), exclusive ? LOCK_EX : LOCK_SH) != 0) {
      if (errno != EINTR) return kErrIo;
    }
    return kOk;
  }

 private:
  UniqueFd fd_;  // closing it releases the lock
};

// A staged change as stored in the save directory, one record per change:
//   package.section=value            section created or its type changed
//   package.section.option=value     option set
//   -package.section[.option]        section or option deleted
// Values are quoted words (quote_value), so they may hold any byte but NUL.
struct Change {
  bool remove = false;
  std::string section;
  std::string option;
  std::string value;
};

std::string format_change(std::string_view package, const Change& change) {
  std::string line = change.remove ? "-" : "";
  line.append(package).append(".").append(change.section);
  if (!change.option.empty()) line.append(".").append(change.option);
  if (!change.remove) line.append("=").append(quote_value(change.value));
  line += '\n';
  return line;
}

// Parses stored change records. A last record cut short (no closing line feed)
// was torn by a crash while being appended and is dropped.
int parse_changes(std::string_view text, std::string_view package, std::vector<Change>& changes,
                  std::vector<std::string>* lines, ParseError& error) {
  Tokenizer tok(text);
  std::size_t pos = 0;
  while (pos < text.size()) {
    std::size_t start = pos;
    Change change;
    if (text[pos] == '-') {
      change.remove = true;
      ++pos;
    }
    std::size_t path_end = text.find_first_of(change.remove ? "\n" : "=\n", pos);
    if (path_end == std::string_view::npos) break;  // torn
    Path path;
    if (parse_path(text.substr(pos, path_end - pos), path) != kOk || path.package != package ||
        !path.has_section || path.by_index) {
      error.message = "bad change record";
      return kErrParse;
    }
    change.section = path.section;
    change.option = path.option;
    pos = path_end;
    if (!change.remove) {
      if (text[pos] != '=') {
        error.message = "bad change record";
        return kErrParse;
      }
      tok.seek(pos + 1);
      if (!tok.read_word(change.value, error)) {
        if (tok.at_end()) break;  // torn inside its quotes
        return kErrParse;
      }
      pos = tok.pos();
    }
    if (pos >= text.size()) break;  // torn before its line feed
    if (text[pos] != '\n') {
      error.message = "bad change record";
      return kErrParse;
    }
    ++pos;
    if (lines != nullptr) lines->emplace_back(text.substr(start, pos - 1 - start));
    changes.push_back(std::move(change));
  }
  return kOk;
}

void apply_change(Package& package, const Change& change) {
  auto section = std::find_if(package.sections.begin(), package.sections.end(),
                              [&](const Section& s) { return s.name == change.section; });
  if (change.option.empty()) {
    if (change.remove) {
      if (section != package.sections.end()) package.sections.erase(section);
    } else if (section != package.sections.end()) {
      section->type = change.value;
    } else {
      package.sections.push_back(Section{change.section, change.value, false, {}});
    }
    return;
  }
  if (section == package.sections.end()) return;  // its section was deleted later
  auto& options = section->options;
  auto option = std::find_if(options.begin(), options.end(),
                             [&](const Option& o) { return o.name == change.option; });
  if (change.remove) {
    if (option != options.end()) options.erase(option);
  } else if (option != options.end()) {
    option->is_list = false;
    option->values = {change.value};
  } else {
    options.push_back(Option{change.option, false, {change.value}});
  }
}

int read_changes(const Dirs& dirs, std::string_view package, std::vector<Change>& changes,
                 std::vector<std::string>* lines, ParseError& error) {
  std::string text;
  int rc = read_file(delta_path(dirs, package), text);
  if (rc == kErrNotFound) return kOk;
  if (rc != kOk) return rc;
  return parse_changes(text, package, changes, lines, error);
}

// Packages as parsed last, with the exact text of the package file and of its
// change file they were parsed from. A load always reads both files and reuses a
// parse only when both texts are the same byte for byte, so it never serves what
// the files no longer say, whoever wrote them and however fast; it saves only
// the parsing, which is most of a load's cost.
struct ParseCache {
  struct Entry {
    std::string config_text;
    std::optional<std::string> delta_text;  // none: no change file
    std::shared_ptr<const Package> package;
  };
  std::mutex mutex;
  std::map<std::string, Entry> entries;  // by package file path
};

ParseCache& parse_cache() { return process_lifetime<ParseCache>(); }

// Loads a package from its files, with its staged changes applied; the caller
// holds the package lock.
int load_locked(const Dirs& dirs, std::string_view name, std::shared_ptr<const Package>& out, ParseError& error) {
  if (!valid_package_name(name)) return kErrInval;
  const std::string path = dirs.config + "/" + std::string(name);
  std::string config_text, delta;
  int rc = read_file(path, config_text);
  if (rc != kOk) return rc;
  std::optional<std::string> delta_text;
  rc = read_file(delta_path(dirs, name), delta);
  if (rc == kOk) delta_text = std::move(delta);
  else if (rc != kErrNotFound) return rc;

  ParseCache& cache = parse_cache();
  {
    std::lock_guard lock(cache.mutex);
    auto it = cache.entries.find(path);
    if (it != cache.entries.end() && it->second.config_text == config_text && it->second.delta_text == delta_text) {
      out = it->second.package;
      return kOk;
    }
  }
  auto package = std::make_shared<Package>();
  rc = parse_package(config_text, name, *package, error);
  if (rc != kOk) return rc;
  std::vector<Change> changes;
  if (delta_text) {
    rc = parse_changes(*delta_text, name, changes, nullptr, error);
    if (rc != kOk) return rc;
  }
  for (const Change& change : changes) apply_change(*package, change);
  out = package;
  std::lock_guard lock(cache.mutex);
  cache.entries[path] = ParseCache::Entry{std::move(config_text), std::move(delta_text), out};
  return kOk;
}

// The same, copied for a caller that changes it.
int load_locked(const Dirs& dirs, std::string_view name, Package& out, ParseError& error) {
  std::shared_ptr<const Package> package;
  const int rc = load_locked(dirs, name, package, error);
  if (rc == kOk) out = *package;
  return rc;
}

int append_change(const Dirs& dirs, std::string_view package, const Change& change) {
  UniqueFd fd(open(delta_path(dirs, package).c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC,
                   0600));
  if (!fd.valid()) return kErrIo;
  // One write per record, so a crash leaves at most a torn last record.
  return write_all(fd.get(), format_change(package, change)) ? kOk : kErrIo;
}

// Resolves the section of `path` to its name in the loaded package.
int section_name(const Package& package, const Path& path, std::string& name) {
  if (!path.by_index) {
    name = path.section;
    return kOk;
  }
  Resolved found = resolve(package, Path{path.package, {}, path.type, path.index, true, true, {},
                                         false});
  if (found.section == nullptr) return kErrNotFound;
  name = found.section->name;
  return kOk;
}

bool sync_dir(const std::string& dir) {
  UniqueFd fd(open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return fd.valid() && fsync(fd.get()) == 0;
}

}  // namespace

const char* error_text(int error) {
  switch (error) {
    case kOk: return "Success";
    case kErrMem: return "Out of memory";
    case kErrInval: return "Invalid argument";
    case kErrNotFound: return "Entry not found";
    case kErrIo: return "I/O error";
    case kErrParse: return "Parse error";
    case kErrDuplicate: return "Duplicate entry";
    default: return "Unknown error";
  }
}

std::string Option::text() const {
  std::string joined;
  for (const std::string& v : values) {
    if (!joined.empty()) joined += ' ';
    joined += v;
  }
  return joined;
}

Option* Section::option(std::string_view option_name) {
  auto it = std::find_if(options.begin(), options.end(),
                         [&](const Option& o) { return o.name == option_name; });
  return it == options.end() ? nullptr : &*it;
}

const Option* Section::option(std::string_view option_name) const {
  return const_cast<Section*>(this)->option(option_name);
}

Section* Package::section(std::string_view section_name) {
  auto it = std::find_if(sections.begin(), sections.end(),
                         [&](const Section& s) { return s.name == section_name; });
  return it == sections.end() ? nullptr : &*it;
}

const Section* Package::section(std::string_view section_name) const {
  return const_cast<Package*>(this)->section(section_name);
}

bool valid_package_name(std::string_view name) { return name_chars(name, true); }
bool valid_name(std::string_view name) { return name_chars(name, false); }
bool valid_type(std::string_view type) { return name_chars(type, true); }

int parse_package(std::string_view text, std::string_view name, Package& out, ParseError& error) {
  out = Package{std::string(name), {}};
  Tokenizer tok(text);
  std::vector<std::string> words;
  Section* current = nullptr;
  auto fail = [&](int line, const char* message) {
    error.line = line;
    error.message = message;
    return kErrParse;
  };
  while (!tok.at_end()) {
    int line = tok.line();
    if (!tok.read_line(words, error)) return kErrParse;
    if (words.empty()) continue;
    const std::string& keyword = words[0];
    if (keyword == "package") {
      if (words.size() != 2) return fail(line, "bad package line");
    } else if (keyword == "config") {
      if (words.size() < 2 || words.size() > 3) return fail(line, "bad config line");
      if (!valid_type(words[1])) return fail(line, "invalid section type");
      if (words.size() == 3) {
        if (!valid_name(words[2])) return fail(line, "invalid section name");
        current = out.section(words[2]);  // a repeated named section adds to the first
        if (current != nullptr) {
          current->type = words[1];
          continue;
        }
        out.sections.push_back(Section{words[2], words[1], false, {}});
      } else {
        out.sections.push_back(
            Section{anonymous_name(out.sections.size(), words[1]), words[1], true, {}});
      }
      current = &out.sections.back();
    } else if (keyword == "option" || keyword == "list") {
      if (current == nullptr) return fail(line, "option outside a section");
      if (words.size() != 3) return fail(line, "bad option line");
      if (!valid_name(words[1])) return fail(line, "invalid option name");
      bool list = keyword == "list";
      Option* option = current->option(words[1]);
      if (option == nullptr) {
        current->options.push_back(Option{words[1], list, {}});
        option = &current->options.back();
      }
      if (!list || !option->is_list) option->values.clear();
      option->is_list = list;
      option->values.push_back(std::move(words[2]));
    } else {
      return fail(line, "unknown keyword");
    }
  }
  return kOk;
}

std::string quote_value(std::string_view value) {
  std::string quoted = "'";
  for (char c : value) {
    if (c == '\'')
      quoted += "'\\''";
    else
      quoted += c;
  }
  quoted += '\'';
  return quoted;
}

std::string format_package(const Package& package) {
  std::string text;
  for (const Section& section : package.sections) {
    text += "\nconfig " + section.type;
    if (!section.anonymous) text += " " + quote_value(section.name);
    text += '\n';
    for (const Option& option : section.options) {
      for (const std::string& value : option.values) {
        text += option.is_list ? "\tlist " : "\toption ";
        text += option.name + " " + quote_value(value) + "\n";
      }
    }
  }
  return text;
}

int parse_path(std::string_view text, Path& out) {
  out = Path{};
  std::array<std::string_view, 3> parts;
  std::size_t count = 0;
  for (;;) {
    std::size_t dot = text.find('.');
    if (count == parts.size()) return kErrInval;
    parts[count++] = text.substr(0, dot);
    if (dot == std::string_view::npos) break;
    text.remove_prefix(dot + 1);
  }
  if (!valid_package_name(parts[0])) return kErrInval;
  out.package = parts[0];
  if (count >= 2) {
    std::string_view section = parts[1];
    out.has_section = true;
    if (!section.empty() && section[0] == '@') {
      std::size_t open = section.find('[');
      if (open == std::string_view::npos || section.back() != ']') return kErrInval;
      std::string_view type = section.substr(1, open - 1);
      std::string_view number = section.substr(open + 1, section.size() - open - 2);
      if (!valid_type(type) || number.empty()) return kErrInval;
      auto [end, ec] = std::from_chars(number.data(), number.data() + number.size(), out.index);
      if (ec != std::errc() || end != number.data() + number.size()) return kErrInval;
      out.by_index = true;
      out.type = type;
    } else {
      if (!valid_name(section)) return kErrInval;
      out.section = section;
    }
  }
  if (count == 3) {
    if (!valid_name(parts[2])) return kErrInval;
    out.option = parts[2];
    out.has_option = true;
  }
  return kOk;
}

int load_shared(const Dirs& dirs, std::string_view name, std::shared_ptr<const Package>& out,
                ParseError* error) {
  if (!valid_package_name(name)) return kErrInval;
  ParseError ignored;
  PackageLock lock;
  static_cast<void>(lock.acquire(dirs, name, false));  // readers go on without a save directory
  return load_locked(dirs, name, out, error != nullptr ? *error : ignored);
}

int load_package(const Dirs& dirs, std::string_view name, Package& out, ParseError* error) {
  std::shared_ptr<const Package> package;
  const int rc = load_shared(dirs, name, package, error);
  if (rc == kOk) out = *package;
  return rc;
}

Resolved resolve(const Package& package, const Path& path) {
  Resolved result;
  if (!path.has_section) {
    result.found = Found::kComplete;
    return result;
  }
  if (path.by_index) {
    std::vector<const Section*> typed;
    for (const Section& s : package.sections)
      if (s.type == path.type) typed.push_back(&s);
    long index = path.index < 0 ? static_cast<long>(typed.size()) + path.index : path.index;
    if (index >= 0 && index < static_cast<long>(typed.size()))
      result.section = typed[static_cast<std::size_t>(index)];
  } else {
    result.section = package.section(path.section);
  }
  if (result.section == nullptr) return result;
  if (path.has_option) {
    result.option = result.section->option(path.option);
    if (result.option == nullptr) {
      result.found = Found::kOptionMissing;
      return result;
    }
  }
  result.found = Found::kComplete;
  return result;
}

int stage_set(const Dirs& dirs, const Path& path, std::string_view value) {
  if (!path.has_section) return kErrInval;
  if (value.find('\0') != std::string_view::npos) return kErrInval;
  if (!path.has_option && !valid_type(value)) return kErrInval;
  PackageLock lock;
  if (int rc = lock.acquire(dirs, path.package, true); rc != kOk) return rc;
  Package package;
  ParseError error;
  if (int rc = load_locked(dirs, path.package, package, error); rc != kOk) return rc;
  Change change;
  if (path.by_index || path.has_option) {
    if (int rc = section_name(package, path, change.section); rc != kOk) return rc;
    if (path.has_option && package.section(change.section) == nullptr) return kErrNotFound;
  } else {
    change.section = path.section;
  }
  change.option = path.option;
  change.value = value;
  return append_change(dirs, path.package, change);
}

int stage_delete(const Dirs& dirs, const Path& path) {
  if (!path.has_section) return kErrInval;
  PackageLock lock;
  if (int rc = lock.acquire(dirs, path.package, true); rc != kOk) return rc;
  Package package;
  ParseError error;
  if (int rc = load_locked(dirs, path.package, package, error); rc != kOk) return rc;
  if (resolve(package, path).found != Found::kComplete) return kErrNotFound;
  Change change;
  change.remove = true;
  if (int rc = section_name(package, path, change.section); rc != kOk) return rc;
  change.option = path.option;
  return append_change(dirs, path.package, change);
}

int commit(const Dirs& dirs, std::string_view name) {
  if (!valid_package_name(name)) return kErrInval;
  PackageLock lock;
  if (int rc = lock.acquire(dirs, name, true); rc != kOk) return rc;
  std::vector<Change> changes;
  ParseError error;
  if (int rc = read_changes(dirs, name, changes, nullptr, error); rc != kOk) return rc;
  if (changes.empty()) return kOk;
  Package package;
  if (int rc = load_locked(dirs, name, package, error); rc != kOk) return rc;

  // Write beside the package file and rename over it: a reader sees the old file or
  // the new one, never a part of either. A failed write leaves the old file alone.
  std::string target = dirs.config + "/" + std::string(name);
  std::string temp = dirs.config + "/." + std::string(name) + ".uci-new";
  {
    UniqueFd fd(open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (!fd.valid()) return kErrIo;
    if (!write_all(fd.get(), format_package(package)) || fsync(fd.get()) != 0) {
      unlink(temp.c_str());
      return kErrIo;
    }
  }
  if (rename(temp.c_str(), target.c_str()) != 0) {
    unlink(temp.c_str());
    return kErrIo;
  }
  sync_dir(dirs.config);
  // Killed before this line, the changes are applied again on the next load:
  // every record sets or deletes, so applying it twice changes nothing.
  if (unlink(delta_path(dirs, name).c_str()) != 0 && errno != ENOENT) return kErrIo;
  return kOk;
}

int revert(const Dirs& dirs, std::string_view name) {
  if (!valid_package_name(name)) return kErrInval;
  PackageLock lock;
  if (int rc = lock.acquire(dirs, name, true); rc != kOk) return rc;
  if (unlink(delta_path(dirs, name).c_str()) != 0 && errno != ENOENT) return kErrIo;
  return kOk;
}

namespace {

std::vector<std::string> package_files(const std::string& directory) {
  std::vector<std::string> names;
  std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(directory.c_str()), closedir);
  if (!dir) return names;
  while (const dirent* entry = readdir(dir.get())) {
    if (valid_package_name(entry->d_name)) names.emplace_back(entry->d_name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

std::vector<std::string> packages(const Dirs& dirs) { return package_files(dirs.config); }

std::vector<std::string> staged_packages(const Dirs& dirs) { return package_files(dirs.save); }

int staged_changes(const Dirs& dirs, std::string_view package, std::vector<std::string>& lines) {
  if (!valid_package_name(package)) return kErrInval;
  PackageLock lock;
  static_cast<void>(lock.acquire(dirs, package, false));
  std::vector<Change> changes;
  ParseError error;
  return read_changes(dirs, package, changes, &lines, error);
}

}  // namespace pemo::uci
