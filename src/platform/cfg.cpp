#include "platform/cfg.h"

#include <cstdio>

#include "platform/log.h"
#include "platform/shell.h"

namespace pemo {
namespace {

void report(const char* text) { std::fputs(text, stderr); }

}  // namespace

const uci::Dirs& cfg_dirs() {
  static const uci::Dirs dirs;
  return dirs;
}

int cfg_get(std::string& buffer, std::size_t capacity) {
  log_msg(kLogDebug, "UCI get command: %s\n", buffer.c_str());
  uci::Path path;
  if (int rc = uci::parse_path(buffer, path); rc != uci::kOk) return rc;
  std::shared_ptr<const uci::Package> package;
  int rc = uci::load_shared(cfg_dirs(), path.package, package);
  if (rc == uci::kErrNotFound) {
    report("can not find package name!\n");
    buffer.clear();
    return kCfgPackageNotFound;
  }
  if (rc != uci::kOk) return rc;
  uci::Resolved found = uci::resolve(*package, path);
  if (found.found != uci::Found::kComplete) {
    report("can not find sec/opt name!\n");
    buffer.clear();
    return kCfgNotFound;
  }
  if (found.option == nullptr) return 0;
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
  std::string path_copy(path_text), value_copy(value);
  log_msg(kLogDebug, "UCI set command: %s value:%s\n", path_copy.c_str(), value_copy.c_str());
  uci::Path path;
  if (int rc = uci::parse_path(path_text, path); rc != uci::kOk) return rc;
  uci::Package package;
  if (uci::load_package(cfg_dirs(), path.package, package) == uci::kErrNotFound) {
    report("can not find package name!\n");
    return kCfgPackageNotFound;
  }
  log_msg(kLogDebug, "set:ptr.value=%s\n", value_copy.c_str());
  int rc = uci::stage_set(cfg_dirs(), path, value);
  if (uci::commit(cfg_dirs(), path.package) != uci::kOk) {
    log_msg(kLogDebug, "failed to commit change!\n");
    return kCfgCommitFailed;
  }
  return rc;
}

int cfg_apply(std::string_view package_name) {
  uci::Package package;
  int rc = uci::load_package(cfg_dirs(), package_name, package);
  if (rc == uci::kErrNotFound || rc == uci::kErrInval) {
    report("can not find package name!\n");
    return kCfgPackageNotFound;
  }
  if (rc != uci::kOk) return rc;
  std::string command(kUciApplyCommand);
  command += ' ';
  command += shell_quote(package_name);
  int status = shell_run(command);
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
