// Auto-configuration approval and new-device lists: small files under
// /etc/pemo-agent, mirrored into the probe database's DevFunc table.
#include "control/approval.h"

#include <unistd.h>

#include <algorithm>
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
#include "platform/log.h"

namespace pemo {
namespace {

constexpr const char* kApproveList = "/etc/pemo-agent/Approvelist";
constexpr const char* kCheckedList = "/etc/pemo-agent/NewDeviceCheckedlist";
constexpr std::size_t kMacKey = 17;       // entries match on their first 17 characters
constexpr std::size_t kPendingMac = 31;   // the pending MAC field

// The lists hold a few entries per extender; a file beyond this is refused whole
// rather than read in part and written back shorter.
constexpr std::size_t kMaxListSize = std::size_t{1} << 20;
// Lines are read as a 64-byte line buffer reads them: a longer one in pieces.
constexpr std::size_t kLinePiece = 63;

// The MAC of an entry being built, kept from one member to the next (across
// requests) and shared by every connection, as the protocol has it.
struct PendingEntries {
  std::mutex mutex;
  std::string approval_mac;
  std::string checked_mac;
};

PendingEntries& pending() { return process_lifetime<PendingEntries>(); }

// What an entry is matched on: its first 17 characters, as far as a C string goes.
std::string_view entry_key(std::string_view text) {
  text = text.substr(0, kMacKey);
  return text.substr(0, text.find('\0'));
}

// The length of the piece of `text` that starts at `start`: through its line
// feed, or at most a line buffer's worth.
std::size_t piece_length(std::string_view text, std::size_t start) {
  const std::size_t end = text.find('\n', start);
  const std::size_t line = end == std::string_view::npos ? text.size() - start : end + 1 - start;
  return std::min(line, kLinePiece);
}

// Reads a whole list; a missing one reads as empty when `missing_ok`.
int read_list(const char* path, std::string& text, bool missing_ok) {
  if (!read_text_file(path, text, kMaxListSize + 1)) return missing_ok && !file_exists(path) ? 0 : kFileError;
  return text.size() > kMaxListSize ? kFileError : 0;
}

// The platform's tool reads the lists: each is replaced whole or not at all.
int write_list(const char* path, const std::string& text) {
  return replace_text_file(path, std::string(path) + "tmp", text) ? 0 : kFileError;
}

// Rewrites an existing line of the same length, or appends a new one.
int upsert(const char* path, const std::string& mac, int option) {
  std::string text;
  if (int rc = read_list(path, text, true); rc != 0) return rc;
  const std::string entry = mac + " " + std::to_string(option) + "\n";
  for (std::size_t start = 0, length = 0; start < text.size(); start += length) {
    length = piece_length(text, start);
    if (entry_key(std::string_view(text).substr(start, length)) != entry_key(mac)) continue;
    if (length != entry.size()) return 0;  // a line of another length stays as it is
    text.replace(start, length, entry);
    return write_list(path, text);
  }
  return write_list(path, text + entry);
}

int remove_entry(const std::string& mac) {
  std::string text, kept;
  if (int rc = read_list(kApproveList, text, false); rc != 0) return rc;
  for (std::size_t start = 0, length = 0; start < text.size(); start += length) {
    length = piece_length(text, start);
    const std::string_view piece = std::string_view(text).substr(start, length);
    if (entry_key(piece) != entry_key(mac)) kept += piece;
  }
  return write_list(kApproveList, kept);  // its temporary file is Approvelisttmp
}

int set_approval_switch(int value) {
  // The option mirrors the switch for readers; the tool's answer decides the status.
  static_cast<void>(cfg_set("wireless.wifi.ApproveFlag", std::to_string(value)));
  // The tool answers at once; a run that did not end by itself leaves no answer.
  if (!ran_to_end(shell_run("hv1905App 16 " + std::to_string(value), kMeshToolBound)))
    return log_status(kActionFailed, "the approval switch tool did not end by itself");
  if (!file_exists(kMeshToolAnswer)) return kFileError;
  std::string first;
  // No line at all fails; an empty first line reads as 0.
  if (!mesh_tool_answer(first, 3)) return log_status(kActionFailed, "the approval switch tool left no answer");
  return leading_decimal(first) == 0 ? 0 : log_status(kActionFailed, "the approval switch tool refused");
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
  const int option = leading_decimal(value);
  int rc = kNothingHere;
  if (mac.empty() && (option == 0 || option == 1 || (option == 2 && removable))) {
    rc = kValueRefused;  // no MACAddress came first: there is no entry to change
  } else if (option == 0 || option == 1) {
    rc = upsert(list, mac, option);
    // The list file is what the platform's tool reads; the database row only
    // mirrors it, so a list not written is not mirrored either.
    if (rc == 0)
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
      const int option = leading_decimal(value);
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
