// Every status the agent sends to the application: one row each, with its one
// name and what it means to whoever reads it (pemo-cli prints these meanings).
// A status travels in the length field of a reply that has no payload; the
// numbers are the protocol's, and one number may cover several causes.
#pragma once

#include <string_view>

namespace pemo {

inline constexpr int kStatusDone = 0;            // served, no reply document
inline constexpr int kUnserved = -1;             // no handler for the type, or a probe database statement failed
inline constexpr int kStatusBadJson = -2;        // the payload is not a JSON object
inline constexpr int kStatusVersionFail = -3;    // system query: AppVersion is not ours
inline constexpr int kStatusMagicMismatch = -4;  // system query: MagicNum is not ours
inline constexpr int kNothingHere = -5;          // a handler's "nothing to do here": the walk goes on
inline constexpr int kStatusBadVersion = -8;     // header: protocol version is not 1
inline constexpr int kStatusBadLength = -9;      // a request or reply that does not fit in one message
inline constexpr int kStatusBadType = -10;       // header: no such request type
inline constexpr int kCfgPackageNotFound = -12;  // a configuration package cannot be loaded
inline constexpr int kCfgNotFound = -13;         // no such section or option, or an unusable path
inline constexpr int kCfgApplyFailed = -14;      // the platform's apply command failed
inline constexpr int kCfgCommitFailed = -15;     // a change could not be committed
inline constexpr int kCfgTooLong = -16;          // a configuration value longer than its reader takes
inline constexpr int kTooManyInstances = -17;    // more instance levels than a request may nest
inline constexpr int kFileError = -18;           // a file the handler needs cannot be read or written
inline constexpr int kPipeFailed = -19;          // a command whose output is the answer did not run
inline constexpr int kStatusBadPassword = -20;   // wrong password, or a payload with control bytes
inline constexpr int kValueRefused = -21;        // a set value empty, too long or of the wrong form
inline constexpr int kNotWritable = -22;         // a set of a read-only node
inline constexpr int kQueryFailed = -23;         // the online firmware query failed
inline constexpr int kNoFirmwareInfo = -24;      // no firmware locator has been fetched
inline constexpr int kActionFailed = -26;        // what was asked could not be carried out
inline constexpr int kNotReadable = -27;         // a get of a write-only node
inline constexpr int kWifiBusy = -28;            // a guest-network set while Wi-Fi is being set

struct StatusRow {
  int code;
  std::string_view name;
  std::string_view meaning;  // for people: what happened, and what to do where there is something
};

inline constexpr StatusRow kStatusTable[] = {
    {kStatusDone, "done", "done: the request carries no reply document (a WAN change applies a second later)"},
    {kUnserved, "unserved", "failed: a probe database statement failed, or no handler serves the request type"},
    {kStatusBadJson, "bad JSON", "refused: the payload is not a JSON object"},
    {kStatusVersionFail, "version", "refused: the system query's AppVersion is not the agent's"},
    {kStatusMagicMismatch, "magic", "refused: the system query's MagicNum is not the agent's"},
    {kNothingHere, "nothing here", "nothing done: no member of the set names a node the agent can change"},
    {kStatusBadVersion, "bad version", "refused: the header's protocol version is not 1"},
    {kStatusBadLength, "bad length", "refused: the request or its reply does not fit in one message"},
    {kStatusBadType, "bad type", "refused: no such request type"},
    {kCfgPackageNotFound, "no package", "failed: a configuration package cannot be loaded"},
    {kCfgNotFound, "no option", "failed: no such configuration section or option"},
    {kCfgApplyFailed, "apply failed", "failed: the platform's apply command failed"},
    {kCfgCommitFailed, "commit failed", "failed: a configuration change could not be committed"},
    {kCfgTooLong, "too long", "failed: a configuration value is longer than its reader takes"},
    {kTooManyInstances, "too deep", "refused: more than seven instance levels"},
    {kFileError, "file", "failed: a file the agent needs cannot be read or written"},
    {kPipeFailed, "pipe", "failed: a platform command whose output is the answer did not run"},
    {kStatusBadPassword, "bad password", "refused: wrong password, or a payload that does not decipher"},
    {kValueRefused, "value refused", "refused: a set value that is empty, too long or of the wrong form"},
    {kNotWritable, "read-only", "refused: that value is read-only"},
    {kQueryFailed, "query failed", "failed: the online firmware query failed"},
    {kNoFirmwareInfo, "no firmware check", "failed: no firmware check has been made (read CheckSoftwareVersion first)"},
    {kActionFailed, "not carried out",
     "failed: a platform tool failed, never answered or is busy; a host or extender is unknown; a value has no "
     "action; the request was not received whole; or a traceroute was cut short"},
    {kNotReadable, "write-only", "refused: that value is write-only (a command)"},
    {kWifiBusy, "Wi-Fi busy", "refused: Wi-Fi is being set; try the guest network again in a few seconds"},
};

// The row of a status, or nullptr for a number the agent never sends.
constexpr const StatusRow* status_row(int code) {
  for (const StatusRow& row : kStatusTable)
    if (row.code == code) return &row;
  return nullptr;
}

// One row a code: a status named twice would let two names drift apart.
constexpr bool status_codes_are_unique() {
  for (const StatusRow& a : kStatusTable)
    for (const StatusRow& b : kStatusTable)
      if (&a != &b && a.code == b.code) return false;
  return true;
}
static_assert(status_codes_are_unique(), "a status code has two rows");

}  // namespace pemo
