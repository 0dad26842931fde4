// The platform's own data as the agent reads it: the cells of a probe-database row
// (its ExtraInfo text among them), or the content of a file that another gateway
// program writes, walked by the get requests that read it. The first byte picks
// the source; for a row, cells are separated by \x01 and \x02 alone is a null cell.
#include <sqlite3.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "contract/connection.h"
#include "core/discovery.h"
#include "core/discovery_seam.h"
#include "environment.h"
#include "platform/json.h"
#include "contract/features.h"
#include "request/param_tree.h"
#include "support/documents.h"
#include "support/walk.h"

namespace {

using namespace pemo;

struct Source {
  const char* file;   // nullptr: a row of `table`
  const char* table;  // with file == nullptr
  std::vector<const char*> readers;  // tree paths of the objects or leaves that read it
};

const std::vector<const char*> kFirmwareReaders = {"Device.DeviceInfo.SoftwareVersion",
                                                    "Device.DeviceInfo.X_Halvo_SoftwareUpdateOTA"};

// The Wi-Fi fallback files (/tmp/tmppsk, /tmp/tmpSSID*) are read only when the
// configuration lacks those options, which the seeded one never does.
const Source kSources[] = {
    {nullptr, "Device",
     {"Device.Hosts", "Device.X_Halvo_Ext.FWNumberOfEntries", "Device.X_Halvo_Ext.FWUpgrade",
      "Device.X_Halvo_Ext.L2DevCtrl_FWCfg", "Device.X_Halvo_Ext.WiFiconfigValue", "Device.X_Halvo_Ext.GatewayInfo"}},
    {nullptr, "DevFunc", {"Device.Hosts", "Device.X_Halvo_Ext.GatewayInfo"}},
    {"/tmp/wan_info", nullptr, {"Device.X_Halvo_Ext.DeviceInfo.WanInfo"}},
    {"/tmp/bwm_result", nullptr, {"Device.X_Halvo_Ext.DeviceInfo.WanInfo"}},
    {"/tmp/hvfw_info", nullptr, kFirmwareReaders},
    {"/tmp/firmware_version", nullptr, kFirmwareReaders},
    {"/tmp/get_online_info", nullptr, kFirmwareReaders},
    {"/tmp/fw_status", nullptr, kFirmwareReaders},
    {"/tmp/fw_upgrade_status", nullptr, kFirmwareReaders},
    {"/tmp/guest_wifi_bonus_remaining_time", nullptr, {"Device.WiFi.X_Halvo_GuestAP.Timer"}},
    {"/tmp/hv1905_FWupgrade", nullptr, {"Device.X_Halvo_Ext.L2DevCtrl_FWCfg"}},
    {"/tmp/SpeedTestInfo", nullptr, {"Device.X_Halvo_Ext.SpeedTestInfo"}},
    {"/tmp/wifi_channel", nullptr, {"Device.WiFi.Radio"}},
    {"/tmp/auto_cfg", nullptr, {"Device.X_Halvo_Ext.WiFiAutoCfgApprove"}},
    {"/tmp/wlan_on", nullptr, {"Device.X_Halvo_Ext.Tovi123"}},
    {"/tmp/connect_internet", nullptr, {"Device.X_Halvo_Ext.Tovi123"}},
    {"/etc/pemo-agent/Approvelist", nullptr,
     {"Device.X_Halvo_Ext.WiFiAutoCfgApprove", "Device.X_Halvo_Ext.WiFiAutoCfgApproveData"}},
    {"/etc/pemo-agent/NewDeviceCheckedlist", nullptr, {"Device.X_Halvo_Ext.NewDeviceCheckedList"}},
    {"/tmp/mfsh.info", nullptr, {}},  // read by discovery
};
constexpr std::size_t kSourceCount = sizeof kSources / sizeof kSources[0];

// The requests that name an extender name this one (the first row may become it).
constexpr const char* kExtenderMac = "02:10:18:cc:dd:01";
constexpr const char* kDiscovery = R"({"Device":{"X_Halvo_Ext":{"AppInfo":{"MagicNum":"Q5190","AppVersion":1}}}})";

int position_of(const ParamTree& tree, std::string_view path) {
  for (int p = 0; p < static_cast<int>(kNodeCount); ++p)
    if (tree.path(p) == path) return p;
  std::fprintf(stderr, "no node %.*s\n", static_cast<int>(path.size()), path.data());
  std::abort();
}

// Every string leaf called HostMAC names the fuzzed extender.
void name_the_extender(json_object* object) {
  json_object_object_foreach(object, key, value) {
    if (json_object_is_type(value, json_type_object))
      name_the_extender(value);
    else if (std::string_view(key) == "HostMAC")
      json_object_object_add(object, key, json_object_new_string(kExtenderMac));
  }
}

std::string reader_document(const Source& source) {
  const ParamTree& tree = param_tree();
  JsonPtr document(json_object_new_object());
  for (const char* path : source.readers) {
    const int position = position_of(tree, path);
    const int type = tree.node(position).type;
    cli::add_member(document.get(), cli::member_path(tree, position),
                    type == kObject ? cli::every_leaf_below(tree, position).release()
                    : type == kInt  ? json_object_new_int(0)
                                    : json_object_new_string(""));
  }
  name_the_extender(document.get());
  return json_object_to_json_string_ext(document.get(), JSON_C_TO_STRING_PLAIN);
}

std::vector<std::string>& documents() {
  static std::vector<std::string> texts;
  return texts;
}

sqlite3* database() {
  static sqlite3* db = [] {
    sqlite3* handle = nullptr;
    if (sqlite3_open(kProbeDbPath, &handle) != SQLITE_OK) std::abort();
    return handle;
  }();
  return db;
}

// The UPDATE that replaces every cell of the first row of `table`, prepared once.
struct RowUpdate {
  sqlite3_stmt* statement = nullptr;
  int columns = 0;
};

RowUpdate& row_update(const std::string& table) {
  static std::vector<std::pair<std::string, RowUpdate>> updates;
  for (auto& [name, update] : updates)
    if (name == table) return update;
  RowUpdate update;
  sqlite3_stmt* probe = nullptr;
  if (sqlite3_prepare_v2(database(), ("SELECT * FROM " + table + " LIMIT 0;").c_str(), -1, &probe, nullptr) !=
      SQLITE_OK)
    std::abort();
  update.columns = sqlite3_column_count(probe);
  std::string sql = "UPDATE " + table + " SET ";
  for (int c = 0; c < update.columns; ++c)
    sql += std::string(c > 0 ? "," : "") + "[" + sqlite3_column_name(probe, c) + "]=?";
  sqlite3_finalize(probe);
  sql += " WHERE rowid=1;";
  if (sqlite3_prepare_v2(database(), sql.c_str(), -1, &update.statement, nullptr) != SQLITE_OK) std::abort();
  return updates.emplace_back(table, update).second;
}

void fill_row(const char* table, std::string_view cells) {
  RowUpdate& update = row_update(table);
  sqlite3_reset(update.statement);
  for (int c = 1; c <= update.columns; ++c) {
    const std::size_t end = cells.find('\x01');
    const std::string_view cell = cells.substr(0, end);
    if (cell == "\x02")
      sqlite3_bind_null(update.statement, c);
    else
      sqlite3_bind_text(update.statement, c, cell.data(), static_cast<int>(cell.size()), SQLITE_TRANSIENT);
    cells = end == std::string_view::npos ? std::string_view() : cells.substr(end + 1);
  }
  sqlite3_step(update.statement);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz::enter_gateway(true);
  test::write_file("/tmp/feature.json", test::read_file(PEMO_SOURCE_DIR "/data/feature.json"));
  if (sys_query_response_init("/tmp/feature.json") != 0) std::abort();
  // The walks read the host snapshot of this thread's connection.
  connection_record_add(std::this_thread::get_id());
  for (const Source& source : kSources) documents().push_back(source.readers.empty() ? "" : reader_document(source));
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::size_t pick = data[0] % kSourceCount;
  const Source& source = kSources[pick];
  const std::string_view content(reinterpret_cast<const char*>(data) + 1, size - 1);
  if (source.file == nullptr) {
    fill_row(source.table, content);
  } else {
    test::write_file(source.file, content);
  }
  if (source.readers.empty()) {
    manufacturing_cache_reset();
    std::string reply;
    static_cast<void>(doDevDiscoverReq(kDiscovery, reply));
  } else {
    static_cast<void>(test::walk(documents()[pick]));
  }
  if (source.file != nullptr) unlink(source.file);
  return 0;
}
