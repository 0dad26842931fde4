// Extender firmware: the list of extenders with new firmware, their upgrade
// control through the 1905 tool, and the RSSI lookup.
#include <json-c/json.h>

#include <cstdio>
#include <initializer_list>
#include <mutex>
#include <span>
#include <string>

#include "contract/mesh_tool.h"
#include "firmware/firmware.h"
#include "platform/files.h"
#include "platform/json.h"
#include "platform/probe_db.h"
#include "platform/shell.h"
#include "platform/lifetime.h"

namespace pemo {
namespace {

// The tool's command is composed in 128 bytes. The limit is measured on the
// command as composed, its words bare; what runs has each word quoted.
constexpr std::size_t kMaxCommand = 127;
const std::string kMeshTool9 = std::string(kMeshTool) + " 9";  // the firmware command

// The command's words joined by blanks fit the limit.
bool fits(std::initializer_list<std::string_view> words) {
  std::size_t length = 0;
  for (std::string_view word : words) length += word.size() + 1;
  return length - 1 <= kMaxCommand;
}

// The list and every pending text are shared by all connections; one lock
// serialises their updates and reads.
struct ExtenderFirmware {
  std::mutex mutex;
  JsonPtr list;  // {"i1": {...}, ...}; none before the first FWNumberOfEntries
  int count = 0;
  std::string autocfg_mac, autocfg_option;
  std::string fw_mac, fw_option, fw_additional_option, fw_additional_url;
  std::string state_mac;
  std::string rssi_mac;
};

ExtenderFirmware& state() { return process_lifetime<ExtenderFirmware>(); }

void ExtraInfo_get(ExtenderFirmware& s) {
  s.list.reset(json_object_new_object());
  s.count = 0;
  const QueryTable table =
      probe_db_rows("SELECT ALMac,HostName,ExtraInfo FROM Device where [DevType]='L2Device' AND "
                    "([Alive]=1 OR ([Alive]=0 AND [nNotAlive] <= 2));");
  for (int row = 1; row <= table.rows(); ++row) {
    JsonPtr extra = json_parse_object(table.cell(row, 2));
    // Listed only for the JSON integer 1: not the text "1", true or 1.5.
    if (json_integer(json_member(extra.get(), "Newfirmware")) != 1) continue;
    json_object* entry = json_object_new_object();
    const std::string_view mac = c_text(table.cell(row, 0)), name = c_text(table.cell(row, 1));
    json_object_object_add(entry, "ALMac", json_object_new_string_len(mac.data(), static_cast<int>(mac.size())));
    json_object_object_add(entry, "HostName", json_object_new_string_len(name.data(), static_cast<int>(name.size())));
    json_object_object_add(entry, "ExtraInfo", extra.release());
    json_object_object_add(s.list.get(), ("i" + std::to_string(++s.count)).c_str(), entry);
  }
}

void list_value(ExtenderFirmware& s, std::string_view name, int instance, std::string& text) {
  if (!s.list) return;  // before the first rebuild nothing is written
  static constexpr struct {
    const char* member;
    const char* getter;
    const char* key;
    bool in_extra;
    bool integer;
  } kValues[] = {
      {"ModelName", "get_ModelName", "HostName", false, false},
      {"MACAddress", "get_MACAddress", "ALMac", false, false},
      {"Newfirmware", "get_Newfirmware", "Newfirmware", true, true},
      {"NewFWUpgradeState", "get_NewFWUpgradeState", "NewfirmwareUpgradeState", true, true},
      {"NewFWUpgradeVersion", "get_NewFWUpgradeVersion", "Newfirmwareversion", true, false},
      {"Newfirmwaredate", "get_Newfirmwaredate", "Newfirmwaredate", true, false},
  };
  for (const auto& v : kValues) {
    if (name != v.member) continue;
    const std::string key = "i" + std::to_string(instance);
    json_object* entry = nullptr;
    if (!json_object_object_get_ex(s.list.get(), key.c_str(), &entry)) {
      std::printf("%s : Can't get object %s\n", v.getter, key.c_str());
      return;
    }
    json_object* value = json_member(v.in_extra ? json_member(entry, "ExtraInfo") : entry, v.key);
    // A missing value, or one of another type, reads as 0 or as empty.
    if (v.integer)
      text = std::to_string(json_integer(value).value_or(0));
    else
      text = json_text(value).value_or("");
    return;
  }
}

void run_tool(const char* function, const std::string& command) {
  std::printf("%s : syscmd %s\n", function, command.c_str());
  shell_fire(command, kMeshToolBound);
}

// A text a command collects member by member, cut to what its area holds;
// `label` names it in the debug output (none: not shown).
struct Slot {
  std::string_view member;
  std::string ExtenderFirmware::*text;
  std::size_t capacity;
  const char* label;
};
constexpr Slot kAutoCfgSlots[] = {
    {"HostMAC", &ExtenderFirmware::autocfg_mac, 19, nullptr},
    {"ControlOption", &ExtenderFirmware::autocfg_option, 7, nullptr},
};
constexpr Slot kFwCfgSlots[] = {
    {"HostMAC", &ExtenderFirmware::fw_mac, 19, "MAC : "},
    {"ControlOption", &ExtenderFirmware::fw_option, 7, "ControlOption "},
    {"AdditionalOption", &ExtenderFirmware::fw_additional_option, 7, "AdditionalOption : "},
    {"AdditionalURL", &ExtenderFirmware::fw_additional_url, std::string::npos, "AdditionalURL : "},
};

void collect(ExtenderFirmware& s, std::span<const Slot> slots, std::string_view name, std::string_view value,
             const char* function) {
  for (const Slot& slot : slots) {
    if (slot.member != name) continue;
    (s.*slot.text).assign(value.substr(0, slot.capacity));
    if (slot.label != nullptr) std::printf("%s : %s%s\n", function, slot.label, std::string(value).c_str());
  }
}

// A value read by member name: `value` is what the request sent.
struct Read {
  std::string_view member;
  void (*read)(ExtenderFirmware& s, std::string_view value, std::string& text);
};
constexpr Read kListReads[] = {
    {"FWNumberOfEntries",
     [](ExtenderFirmware& s, std::string_view, std::string& text) {
       ExtraInfo_get(s);
       text = std::to_string(s.count);
     }},
    {"HostMAC",
     [](ExtenderFirmware& s, std::string_view value, std::string& text) {
       s.rssi_mac.assign(value.substr(0, 17));
       text.assign(value);
     }},
    {"RSSI",
     [](ExtenderFirmware& s, std::string_view, std::string& text) {
       probe_db_lookup("SELECT Rssi FROM Device where [ALMac]='%s' OR [DevMac]='%s';", s.rssi_mac, text);
     }},
};

constexpr const char* kFwCfgGet = "l2devCtrl_FWcfg_func_get";
constexpr Read kFwCfgReads[] = {
    {"HostMAC",
     [](ExtenderFirmware& s, std::string_view value, std::string& text) {
       s.state_mac.assign(value.substr(0, 17));
       std::printf("%s : MAC : %s\n", kFwCfgGet, s.state_mac.c_str());
       text.assign(value);
     }},
    {"NewFWUpgradeState",
     [](ExtenderFirmware& s, std::string_view, std::string& text) {
       const QueryTable table = probe_db_rows(
           sql_format("SELECT ExtraInfo FROM Device WHERE [DevType]='L2Device' AND [ALMac]='%s';", s.state_mac));
       if (const char* extra = table.cell(1, 0)) {
         JsonPtr info = json_parse_object(extra);
         const int upgrade_state = json_integer(json_member(info.get(), "NewfirmwareUpgradeState")).value_or(0);
         std::printf("%s : NewFWUpgradeState : %d\n", kFwCfgGet, upgrade_state);
         text = std::to_string(upgrade_state);
       }
     }},
    {"NewFWUpgradeSuccess",
     [](ExtenderFirmware& s, std::string_view, std::string& text) {
       int success = 0;
       std::string results;
       if (read_text_file("/tmp/hv1905_FWupgrade", results)) {
         // The last line decides.
         for (const std::string& line : text_lines(results, 63)) {
           std::printf("buf = %s \n", line.c_str());
           std::printf("FWUpgradeState_mac = %s \n", s.state_mac.c_str());
           success = line.compare(0, 17, s.state_mac.substr(0, 17)) == 0 && line.size() >= 17 ? 1 : 0;
         }
       }
       std::printf("%s : state : %d\n", kFwCfgGet, success);
       text = std::to_string(success);
       s.state_mac.clear();
     }},
};

// Serves `name` from `reads`; false when none of them is it.
bool read_member(std::span<const Read> reads, ExtenderFirmware& s, std::string_view name, std::string_view value,
                 std::string& text) {
  for (const Read& r : reads) {
    if (r.member != name) continue;
    r.read(s, value, text);
    return true;
  }
  return false;
}

}  // namespace

int fw_list_param_handler(std::string_view name, std::string_view raw_value, ParseContext& context) {
  const std::string_view value = cut_at_quotes(raw_value);
  if (context.is_set()) return value.empty() ? kValueRefused : 0;
  ExtenderFirmware& s = state();
  std::lock_guard lock(s.mutex);
  if (!read_member(kListReads, s, name, value, context.text))
    list_value(s, name, context.innermost_instance(), context.text);
  return 0;
}

int l2devCtrl_auto_config_func_set(std::string_view name, std::string_view value) {
  ExtenderFirmware& s = state();
  std::lock_guard lock(s.mutex);
  const char* self = "l2devCtrl_auto_config_func_set";
  collect(s, kAutoCfgSlots, name, value, self);
  if (s.autocfg_mac.empty() || s.autocfg_option.empty()) return 0;
  // A MAC of at most 19 characters and an option of 7 always fit the command.
  run_tool(self,
           std::string(kMeshTool) + " 7 " + shell_quote(s.autocfg_mac) + " " + shell_quote(s.autocfg_option));
  s.autocfg_mac.clear();
  s.autocfg_option.clear();
  return 0;
}

int l2devCtrl_FWcfg_func_set(std::string_view name, std::string_view value) {
  ExtenderFirmware& s = state();
  std::lock_guard lock(s.mutex);
  const char* self = "l2devCtrl_FWcfg_func_set";
  collect(s, kFwCfgSlots, name, value, self);
  if (s.fw_mac.empty() || s.fw_option.empty()) return 0;
  const bool additional = !s.fw_additional_option.empty() && !s.fw_additional_url.empty();
  const bool fit = additional ? fits({kMeshTool9, s.fw_mac, s.fw_option, s.fw_additional_option,
                                      s.fw_additional_url})
                              : fits({kMeshTool9, s.fw_mac, s.fw_option, "0 NULL"});
  if (fit) {
    std::string command = kMeshTool9 + " " + shell_quote(s.fw_mac) + " " + shell_quote(s.fw_option);
    command += additional ? " " + shell_quote(s.fw_additional_option) + " " + shell_quote(s.fw_additional_url)
                          : " 0 NULL";
    run_tool(self, command);
  }
  // Run or refused, the texts are forgotten: a refused command never blocks the next.
  s.fw_mac.clear();
  s.fw_option.clear();
  s.fw_additional_option.clear();
  s.fw_additional_url.clear();
  return fit ? 0 : kValueRefused;
}

int l2devCtrl_FWcfg_func_get(std::string_view name, std::string& text, std::string_view value) {
  ExtenderFirmware& s = state();
  std::lock_guard lock(s.mutex);
  read_member(kFwCfgReads, s, name, value, text);
  return 0;
}

}  // namespace pemo
