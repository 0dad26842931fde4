#include <cstdio>

#include "platform/cfg.h"
#include "platform/cfg_report.h"
#include "platform/files.h"
#include "platform/log.h"
#include "platform/shell.h"

namespace pemo::cfg_report {
namespace {

void report(const char* text) { std::fputs(text, stderr); }

}  // namespace

int package_not_found() {
  report("can not find package name!\n");
  return kCfgPackageNotFound;
}

int not_found() {
  report("can not find sec/opt name!\n");
  return kCfgNotFound;
}

int unusable_path(std::string_view text) {
  const std::string_view package = text.substr(0, text.find('.'));
  return uci::valid_package_name(package) ? not_found() : package_not_found();
}

int value_found(std::string& buffer, std::string value, std::size_t capacity) {
  if (value.size() >= capacity) {
    report("value too long for buffer!\n");
    buffer.clear();
    return kCfgTooLong;
  }
  log_msg(kLogDebug, "UCI option get value:%s\n", std::string(log_value(buffer, value)).c_str());
  buffer = std::move(value);
  return 0;
}

int set_result(int staged) {
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

int run_apply_command(std::string_view package) {
  std::string command(kUciApplyCommand);
  command += ' ';
  command += shell_quote(package);
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

}  // namespace pemo::cfg_report

namespace pemo {

int get_device_pwd(std::string& buffer) {
  buffer = "system.main.pwd";
  return cfg_get(buffer, kPasswordCapacity);
}

int get_device_hostname(std::string& buffer) {
  buffer = "system.main.hostname";
  return cfg_get(buffer, kNameCapacity);
}

std::string cfg_value(std::string_view path, int* result, std::size_t capacity) {
  std::string text(path);
  const int rc = cfg_get(text, capacity);
  if (result != nullptr) *result = rc;
  return text;  // emptied by a failed read
}

int cfg_get_number(std::string_view path, int& value) {
  int rc = 0;
  value = leading_decimal(cfg_value(path, &rc));
  return rc == kCfgNotFound ? 0 : rc;
}

int apply_wireless() { return cfg_apply("wireless"); }

}  // namespace pemo
