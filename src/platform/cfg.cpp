#include "platform/cfg.h"

#include <cstdio>

#include "platform/log.h"
#include "platform/shell.h"

namespace pemo {
namespace {

void report(const char* text) { std::fputs(text, stderr); }

// A package that cannot be used (missing, unparsable, unreadable, too large, or a
// name that is no package) counts as not found: its text must never be mistaken
// for a value.
int package_not_found() {
  report("can not find package name!\n");
  return kCfgPackageNotFound;
}

int not_found() {
  report("can not find sec/opt name!\n");
  return kCfgNotFound;
}

// A path that does not parse: the package part decides which of the two it is.
int unusable_path(std::string_view text) {
  const std::string_view package = text.substr(0, text.find('.'));
  return uci::valid_package_name(package) ? not_found() : package_not_found();
}

}  // namespace

const uci::Dirs& cfg_dirs() {
  static const uci::Dirs dirs;
  return dirs;
}

namespace {

// Parses the path and loads its package: 0, -12 or -13.
int open_path(std::string_view text, uci::Path& path, std::shared_ptr<const uci::Package>& package) {
  if (uci::parse_path(text, path) != uci::kOk) return unusable_path(text);
  if (uci::load_shared(cfg_dirs(), path.package, package) != uci::kOk) return package_not_found();
  return 0;
}

}  // namespace

int cfg_get(std::string& buffer, std::size_t capacity) {
  log_msg(kLogDebug, "UCI get command: %s\n", buffer.c_str());
  uci::Path path;
  std::shared_ptr<const uci::Package> package;
  uci::Resolved found;
  int rc = open_path(buffer, path, package);
  if (rc == 0 && (found = uci::resolve(*package, path)).found != uci::Found::kComplete) rc = not_found();
  if (rc != 0) {
    buffer.clear();
    return rc;
  }
  if (found.option == nullptr) return 0;  // a package or section path: the buffer stays
  std::string value = found.option->text();
  if (value.size() >= capacity) {
    report("value too long for buffer!\n");
    buffer.clear();
    return kCfgTooLong;
  }
  log_msg(kLogDebug, "UCI option get value:%s\n", value.c_str());
  buffer = std::move(value);
  return 0;
}

int cfg_set(std::string_view path_text, std::string_view value) {
  const std::string path_copy(path_text), value_copy(value);
  log_msg(kLogDebug, "UCI set command: %s value:%s\n", path_copy.c_str(), value_copy.c_str());
  uci::Path path;
  std::shared_ptr<const uci::Package> package;
  if (int rc = open_path(path_text, path, package); rc != 0) return rc;
  log_msg(kLogDebug, "set:ptr.value=%s\n", value_copy.c_str());
  const int staged = uci::stage_set(cfg_dirs(), path, value);
  if (uci::commit(cfg_dirs(), path.package) != uci::kOk) {
    log_msg(kLogDebug, "failed to commit change!\n");
    return kCfgCommitFailed;
  }
  switch (staged) {
    case uci::kOk:
      return 0;
    case uci::kErrNotFound:  // no such section
    case uci::kErrInval:     // a name or value the format cannot hold
      return not_found();
    default:  // the change could not be saved
      return kCfgCommitFailed;
  }
}

int cfg_apply(std::string_view package_name) {
  std::shared_ptr<const uci::Package> package;
  if (uci::load_shared(cfg_dirs(), package_name, package) != uci::kOk) return package_not_found();
  std::string command(kUciApplyCommand);
  command += ' ';
  command += shell_quote(package_name);
  // Putting wireless into effect restarts both radios, which takes tens of seconds
  // on a slow gateway; an apply still running after two minutes is cut and fails.
  constexpr std::chrono::minutes kApplyBound{2};
  const int status = shell_run(command, kApplyBound);
  if (status != 0) {
    std::fprintf(stderr, "failed to apply this transaction ret = %d\n", status);
    return kCfgApplyFailed;
  }
  return 0;
}

int get_device_pwd(std::string& buffer) {
  buffer = "system.main.pwd";
  return cfg_get(buffer, kPasswordCapacity);
}

int get_device_hostname(std::string& buffer) {
  buffer = "system.main.hostname";
  return cfg_get(buffer, kNameCapacity);
}

int apply_wireless() { return cfg_apply("wireless"); }

}  // namespace pemo
