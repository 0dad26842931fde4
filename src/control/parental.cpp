// Parental-control rules: sections rule<N> of type parental_rule in `parental`,
// written with the uci command line and read back through cfg_get.
#include "control/parental.h"

#include <string>

#include "info/info.h"
#include "platform/cfg.h"
#include "platform/shell.h"

namespace pemo {
namespace {

// Each command is composed in the 128-byte handler text: one that would
// not fit is refused rather than cut.
constexpr std::size_t kMaxCommand = 127;

std::string rule(int n) { return "parental.rule" + std::to_string(n); }

void rule_defaults(int n, const std::string& mac) {
  const std::string r = rule(n);
  for (const std::string& command : {
           "uci set " + r + "=parental_rule",
           "uci set " + r + ".src_mac=" + shell_quote(mac),
           "uci set " + r + ".stop_hour=24",
           "uci set " + r + ".start_hour=00",
           "uci set " + r + ".start_min=00",
           "uci set " + r + ".stop_min=00",
           "uci set " + r + ".weekdays='Mon,Tue,Wed,Thu,Fri,Sat,Sun'",
           "uci set " + r + ".service_count=0",
           "uci set " + r + ".enable=0",
           "uci set " + r + ".src_type=single",
           "uci set " + r + ".service_act=block",
           std::string("uci commit parental"),
       })
    shell_fire(command);
}

// The option a member stands for, or nullptr.
const char* option_of(std::string_view member) {
  static constexpr struct {
    const char* member;
    const char* option;
  } kOptions[] = {{"HostMAC", "src_mac"},          {"PcpName", "name"},
                  {"Days", "weekdays"},            {"TimeStartHour", "start_hour"},
                  {"TimeStartMin", "start_min"},   {"TimeStopHour", "stop_hour"},
                  {"TimeStopMin", "stop_min"},     {"Delete", "delete"},
                  {"Enable", "enable"}};
  for (const auto& entry : kOptions)
    if (member == entry.member) return entry.option;
  return nullptr;
}

}  // namespace

int parental_rule_add(std::string_view, ParseContext& context) {
  // An unreadable package is no count of 0: rule1 would be written over.
  int count = 0;
  if (int rc = cfg_get_number("parental.general.count", count); rc < 0) return rc;
  std::string mac;
  if (int rc = host_snapshot_mac(mac, context); rc < 0) return rc;
  std::string name = rule(count) + ".name";
  const int named = cfg_get(name);
  if (named == kCfgPackageNotFound) return named;
  // A rule that went missing at the end of the list is written again in place.
  const int n = named < 0 && count >= 1 ? count : count + 1;
  rule_defaults(n, mac);
  return cfg_set("parental.general.count", std::to_string(n));
}

int parental_rule_value_set(std::string_view name, std::string_view value, ParseContext& context) {
  const char* option = option_of(name);
  if (option == nullptr) return 0;
  const std::string r = rule(context.instance[0] + 1);
  std::string command;
  int rc = 0;
  if (name == "Enable") {
    const std::string master = cfg_value("parental.general.enable", &rc);
    if (rc < 0 && rc != kCfgNotFound) return rc;  // unknown master switch: change nothing
    if (master == "1" || value == "0") {
      command = "uci set " + r + ".enable=" + shell_quote(value);
    } else if (value == "1") {
      shell_fire("uci set parental.general.enable=" + shell_quote(value));
      command = "uci set " + r + ".enable=" + shell_quote(value);
    }
  } else {
    command = "uci set " + r + "." + option + "=" + shell_quote(value);
  }
  if (command.size() > kMaxCommand) return kValueRefused;
  if (!command.empty()) shell_fire(command);
  shell_fire("uci commit parental");
  if (name == "Delete" || name == "Enable" || name == "TimeStopMin") {
    // These end an edit: the platform reloads the rules.
    shell_fire("uci commit parental");
    static_cast<void>(cfg_apply("parental"));  // the rule is committed; reloading it is the platform's part
  }
  return rc;
}

int parental_rule_value_get(std::string_view name, ParseContext& context) {
  const int index = context.instance[0];
  const char* option = option_of(name);
  std::string path;
  if (name == "Enable") {
    std::string master = "parental.general.enable";
    int rc = cfg_get(master);
    if (master != "1") {  // every rule reads as off while the master switch is
      context.text = master;
      return rc;
    }
  }
  if (option != nullptr && name != "Delete")
    path = "parental.@parental_rule[" + std::to_string(index) + "]." + option;
  else
    path = context.text;  // "parental.custom.custom": no such section
  int rc = cfg_get(path);
  if (rc == kCfgNotFound) {
    context.text.clear();
    return 0;
  }
  context.text = rc < 0 ? "" : path;
  return rc;
}

}  // namespace pemo
