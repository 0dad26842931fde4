// Auto-configuration approval and new-device lists: small files under
// /etc/pemo-agent, mirrored into the probe database's DevFunc table.
#include "control/approval.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>

#include "platform/cfg.h"
#include "platform/files.h"
#include "platform/probe_db.h"
#include "platform/shell.h"
#include "platform/lifetime.h"
#include "contract/mesh_tool.h"
#include "contract/nodes.h"
#include "wire/status.h"

namespace pemo {
namespace {

constexpr const char* kApproveList = "/etc/pemo-agent/Approvelist";
constexpr const char* kApproveListTemp = "/etc/pemo-agent/Approvelisttmp";
constexpr const char* kCheckedList = "/etc/pemo-agent/NewDeviceCheckedlist";
constexpr std::size_t kMacKey = 17;       // entries match on their first 17 characters
constexpr std::size_t kPendingMac = 31;   // the pending MAC field

using File = std::unique_ptr<FILE, int (*)(FILE*)>;
File open_file(const char* path, const char* mode) { return File(std::fopen(path, mode), std::fclose); }

// The MAC of an entry being built, kept from one member to the next (across
// requests) and shared by every connection, as the protocol has it.
struct PendingEntries {
  std::mutex mutex;
  std::string approval_mac;
  std::string checked_mac;
};

PendingEntries& pending() { return process_lifetime<PendingEntries>(); }

// Decimal reading of the leading digits; anything else is 0.
int decimal(std::string_view value) { return std::atoi(std::string(value).c_str()); }

bool same_entry(const char* line, const std::string& mac) {
  return std::strncmp(line, mac.c_str(), kMacKey) == 0;
}

// Rewrites an existing line of the same length in place, or appends a new one.
int upsert(const char* path, const std::string& mac, int option) {
  File file = open_file(path, "r+");
  if (!file) file = open_file(path, "w+");
  if (!file) return kFileError;
  const std::string entry = mac + " " + std::to_string(option) + "\n";
  std::array<char, 64> line;
  long start = std::ftell(file.get());
  while (std::fgets(line.data(), line.size(), file.get()) != nullptr) {
    if (same_entry(line.data(), mac)) {
      if (std::strlen(line.data()) == entry.size()) {
        std::fseek(file.get(), start, SEEK_SET);
        std::fputs(entry.c_str(), file.get());
      }
      return 0;  // a line of another length stays as it is
    }
    start = std::ftell(file.get());
  }
  std::fseek(file.get(), 0, SEEK_END);
  std::fputs(entry.c_str(), file.get());
  return 0;
}

int remove_entry(const std::string& mac) {
  File list = open_file(kApproveList, "r");
  if (!list) return kFileError;
  File temp = open_file(kApproveListTemp, "w");
  if (!temp) return kFileError;
  std::array<char, 64> line;
  while (std::fgets(line.data(), line.size(), list.get()) != nullptr)
    if (!same_entry(line.data(), mac)) std::fputs(line.data(), temp.get());
  list.reset();
  temp.reset();
  unlink(kApproveList);
  std::rename(kApproveListTemp, kApproveList);
  return 0;
}

int set_approval_switch(int value) {
  // The option mirrors the switch for readers; the tool's answer decides the status.
  static_cast<void>(cfg_set("wireless.wifi.ApproveFlag", std::to_string(value)));
  // The tool answers at once; a run that did not end by itself leaves no answer.
  if (!ran_to_end(shell_run("hv1905App 16 " + std::to_string(value), kMeshToolBound))) return kToolFailed;
  if (!file_exists(kMeshToolAnswer)) return kFileError;
  std::string first;
  if (!mesh_tool_answer(first, 3)) return kToolFailed;  // no line at all; an empty first line reads as 0
  return leading_decimal(first) == 0 ? 0 : kToolFailed;
}

// A MAC for the list files and the database: no longer than its field and free of
// line breaks and other control characters, which would forge list entries.
bool usable_mac(std::string_view value) {
  return value.size() <= kPendingMac &&
         std::none_of(value.begin(), value.end(), [](char c) { return static_cast<unsigned char>(c) < 32; });
}

int entry_update(std::string PendingEntries::*mac_field, const char* list, const char* column,
                 bool removable, bool is_mac, std::string_view value) {
  PendingEntries& entries = pending();
  std::lock_guard lock(entries.mutex);
  std::string& mac = entries.*mac_field;
  if (is_mac) {
    if (!usable_mac(value)) return kValueRefused;
    mac.assign(value);
    return 0;
  }
  const int option = decimal(value);
  int rc = kNothingHere;
  if (option == 0 || option == 1) {
    rc = upsert(list, mac, option);
    // The list file is what the platform's tool reads; the database row only mirrors it.
    static_cast<void>(probe_db_exec("UPDATE DevFunc set " + std::string(column) + "='" + std::to_string(option) +
                                    "' where [ALMAC]='" + sql_quote(mac) + "';"));
  } else if (option == 2 && removable) {
    rc = remove_entry(mac);
  }
  mac.clear();  // whatever the outcome
  return rc;
}

}  // namespace

int approval_update(int node_index, std::string_view value, ParseContext&) {
  switch (node_index) {
    case node::kApproveEnable: {
      const int option = decimal(value);
      if (option == 0 || option == 1) return set_approval_switch(option);
      if (option == 2) return unlink(kApproveList) == 0 ? 0 : kFileError;
      return kNothingHere;
    }
    case node::kApproveEntryMac:
    case node::kApproveEntryOption:
      return entry_update(&PendingEntries::approval_mac, kApproveList, "Authorized", true,
                          node_index == node::kApproveEntryMac,
                          value);
    default:
      return kNothingHere;
  }
}

int checked_list_update(int node_index, std::string_view value, ParseContext&) {
  if (node_index != node::kCheckedEntryMac && node_index != node::kCheckedEntryOption) return kNothingHere;
  return entry_update(&PendingEntries::checked_mac, kCheckedList, "NewDeviceChecked", false,
                      node_index == node::kCheckedEntryMac,
                      value);
}

int approve_flag_get(ParseContext& context) {
  std::string value = "wireless.wifi.ApproveFlag";
  int rc = cfg_get(value);
  context.text = rc < 0 ? "" : value;
  return rc;
}

}  // namespace pemo
