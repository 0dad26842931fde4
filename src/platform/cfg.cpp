// The agent's UCI operations on the project's own engine (uci.h).
#include "platform/cfg.h"
#include "platform/cfg_report.h"
#include "platform/lifetime.h"
#include "platform/log.h"

namespace pemo {
namespace {

using namespace cfg_report;

// The package and save directories the agent uses: the platform's.
const uci::Dirs& dirs() { return process_lifetime<const uci::Dirs>(); }

// Parses the path and loads its package: 0, -12 or -13.
int open_path(std::string_view text, uci::Path& path, std::shared_ptr<const uci::Package>& package) {
  if (uci::parse_path(text, path) != uci::kOk) return unusable_path(text);
  if (uci::load_shared(dirs(), path.package, package) != uci::kOk) return package_not_found();
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
  return value_found(buffer, found.option->text(), capacity);
}

int cfg_set(std::string_view path_text, std::string_view value) {
  const std::string path_copy(path_text), value_copy(value);
  const std::string shown(log_value(path_copy, value_copy));
  log_msg(kLogDebug, "UCI set command: %s value:%s\n", path_copy.c_str(), shown.c_str());
  uci::Path path;
  std::shared_ptr<const uci::Package> package;
  if (int rc = open_path(path_text, path, package); rc != 0) return rc;
  log_msg(kLogDebug, "set:ptr.value=%s\n", shown.c_str());
  const int staged = uci::stage_set(dirs(), path, value);
  if (uci::commit(dirs(), path.package) != uci::kOk) {
    log_msg(kLogDebug, "failed to commit change!\n");
    return kCfgCommitFailed;
  }
  return set_result(staged);
}

int cfg_apply(std::string_view package_name) {
  std::shared_ptr<const uci::Package> package;
  if (uci::load_shared(dirs(), package_name, package) != uci::kOk) return package_not_found();
  return run_apply_command(package_name);
}

}  // namespace pemo
