// pemo-cli check: each capability the app relies on, tried from the LAN. The
// read-only checks change nothing; --write makes reversible changes and writes
// down, before each one, how to undo it, so that even a killed run is undone by
// the next.
#include "check.h"

#include <json-c/json.h>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include "client.h"
#include "document.h"
#include "platform/json.h"
#include "request/param_tree.h"
#include "wire/status.h"

namespace pemo::cli {
namespace {

using client::Reply;
using client::Session;
using namespace std::chrono_literals;

// Set by SIGINT and SIGTERM; the checks stop between steps and the undo runs.
// Owned by run_check, which installs the handler.
volatile std::sig_atomic_t g_interrupted = 0;
void on_signal(int) { g_interrupted = 1; }

constexpr std::chrono::seconds kBusyWait{10};  // Wi-Fi being applied: a guest set is refused meanwhile
constexpr std::chrono::seconds kPollPace{1};
constexpr int kUndoAttempts = 5;
constexpr std::size_t kMaxSsid = 32;
constexpr const char* kSsid = "Device.WiFi.SSID.1.SSID";
constexpr const char* kGuest = "Device.WiFi.X_Halvo_GuestAP.Enable";
constexpr const char* kApproval = "Device.X_Halvo_Ext.WiFiAutoCfgApprove.Enable";
constexpr const char* kHostCount = "Device.Hosts.HostNumberOfEntries";
constexpr const char* kRuleCount = "Device.X_Halvo_Ext.ParentalControlNumberOfEntries";

enum class Verdict { kPass, kFail, kSkipped };

struct Result {
  std::string family, name;
  Verdict verdict;
  std::string detail, hint;
};

// What came back for one request: a document, a status, or nothing.
struct Answer {
  bool answered = false;
  int status = 0;  // of an answer without a document
  JsonPtr document;
  std::string error;  // why nothing came
  bool ok() const { return answered && document != nullptr; }
  std::string what() const {
    if (!answered) return "no answer: " + error;
    if (document == nullptr) return "status " + std::to_string(status) + " (" + std::string(status_meaning(status)) + ")";
    return json_object_to_json_string_ext(document.get(), JSON_C_TO_STRING_PLAIN);
  }
};

// The value at a dotted path of a document ("Device.Hosts.Host.3.IPAddress").
json_object* at(json_object* document, std::string_view path) {
  json_object* value = document;
  for (std::size_t start = 0; value != nullptr && start <= path.size();) {
    std::size_t dot = path.find('.', start);
    if (dot == std::string_view::npos) dot = path.size();
    std::string name(path.substr(start, dot - start));
    if (!name.empty() && name.find_first_not_of("0123456789") == std::string::npos) name = "i" + name;
    value = json_member(value, name.c_str());
    start = dot + 1;
  }
  return value;
}

json_object* at(const Answer& answer, std::string_view path) { return at(answer.document.get(), path); }

std::string text_at(const Answer& answer, std::string_view path) { return value_text(at(answer, path)); }

int number_at(const Answer& answer, std::string_view path) {
  json_object* value = at(answer, path);
  if (auto number = json_integer(value)) return *number;
  if (auto text = json_text(value)) return std::atoi(std::string(*text).c_str());
  return -1;
}

class Kit {
 public:
  explicit Kit(const CheckOptions& options) : options_(options) {}

  const CheckOptions& options() const { return options_; }

  Answer exchange(std::uint8_t type, const std::string& text, std::string_view password) {
    Answer answer;
    if (!session_.valid()) session_ = Session::connect(options_.host, options_.port, options_.timeout, answer.error);
    Reply reply;
    if (!session_.valid() || !session_.exchange(type, text, password, reply, answer.error)) {
      session_ = Session();
      return answer;
    }
    answer.answered = true;
    answer.status = reply.status();
    if (reply.status() > 0) answer.document = json_parse_object(reply.payload.c_str());
    return answer;
  }
  // A get of PATH or PATH=VALUE words, or a set of PATH=VALUE words, in one document.
  Answer request(std::uint8_t type, const std::vector<std::string>& words) {
    JsonPtr document(json_object_new_object());
    Answer answer;
    for (const std::string& word : words) {
      const bool added = type == kTypeParamGet ? add_get(document.get(), word, answer.error)
                                               : add_set(document.get(), word, answer.error);
      if (!added) return answer;
    }
    return send(type, document.get());
  }
  Answer get(const std::vector<std::string>& paths) { return request(kTypeParamGet, paths); }
  Answer set(const std::vector<std::string>& assignments) { return request(kTypeParamSet, assignments); }
  Answer send(std::uint8_t type, json_object* document) {
    return exchange(type, json_object_to_json_string_ext(document, JSON_C_TO_STRING_PLAIN), options_.password);
  }
  // A Wi-Fi change is answered "{}" and the session closed; true when both happened.
  bool closed_after_wifi_set(const Answer& answer) {
    Reply reply;
    std::string error;
    const bool closed = answer.ok() && answer.what() == "{}" && !session_.receive(options_.password, reply, error);
    session_ = Session();
    return closed;
  }
  Session& session() { return session_; }
  void drop_session() { session_ = Session(); }

  // The undo log: each line is pushed before its change and popped once undone.
  void push_undo(const std::string& line) {
    undo_.push_back(line);
    save_undo();
  }
  void pop_undo() {
    undo_.pop_back();
    save_undo();
  }
  std::vector<std::string>& undo() { return undo_; }
  void save_undo() {
    if (undo_.empty()) {
      std::filesystem::remove(options_.undo_file);
      return;
    }
    std::filesystem::create_directories(std::filesystem::path(options_.undo_file).parent_path());
    std::ofstream file(options_.undo_file, std::ios::trunc);
    for (const std::string& line : undo_) file << line << '\n';
  }

  void report(const char* family, std::string name, Verdict verdict, std::string detail, std::string hint = {}) {
    results_.push_back({family, std::move(name), verdict, std::move(detail), std::move(hint)});
  }
  const std::vector<Result>& results() const { return results_; }

 private:
  const CheckOptions& options_;
  Session session_;
  std::vector<std::string> undo_;
  std::vector<Result> results_;
};

// Repeats a set while Wi-Fi is being applied (-28), for a few seconds.
Answer set_when_idle(Kit& kit, const std::vector<std::string>& assignments) {
  Answer answer = kit.set(assignments);
  for (auto deadline = std::chrono::steady_clock::now() + kBusyWait;
       answer.answered && answer.status == kWifiBusy && std::chrono::steady_clock::now() < deadline && !g_interrupted;
       answer = kit.set(assignments))
    std::this_thread::sleep_for(kPollPace);
  return answer;
}

// Undoes one logged change: "set PATH=VALUE..." or "rule N MAC" (delete parental
// rule N if it is still the last rule and that host's).
bool undo_one(Kit& kit, const std::string& line) {
  std::istringstream words(line);
  std::string verb;
  words >> verb;
  if (verb == "rule") {
    std::string n, mac;
    words >> n >> mac;
    const std::string rule = "Device.X_Halvo_Ext.ParentalControl." + n;
    const Answer read = kit.get({kRuleCount, rule + ".HostMAC"});
    if (!read.ok()) return read.answered && read.status == kCfgNotFound;
    if (std::to_string(number_at(read, kRuleCount)) != n || text_at(read, rule + ".HostMAC") != mac) return true;
    return kit.set({rule + ".Delete=1"}).answered;
  }
  std::vector<std::string> assignments;
  for (std::string word; words >> word;) assignments.push_back(word);
  if (assignments.empty()) return true;
  // A request of an interrupted run may still be in the agent's hands and land
  // after the undo: the undo is repeated until its last value reads back.
  // The read sends the inputs before the last value (a radio's band) as they are.
  const std::string& last = assignments.back();
  const std::string path = last.substr(0, last.find('='));
  std::vector<std::string> reads(assignments.begin(), assignments.end() - 1);
  reads.push_back(path);
  for (int attempt = 0; attempt < kUndoAttempts; ++attempt) {
    const Answer answer = kit.set(assignments);
    kit.drop_session();  // a Wi-Fi change closes it anyway
    if (!answer.answered) return false;
    std::this_thread::sleep_for(kPollPace);
    const Answer read = kit.get(reads);
    if (!read.ok() || text_at(read, path) == last.substr(last.find('=') + 1)) return true;  // or write-only
  }
  return false;
}

bool undo_all(Kit& kit) {
  while (!kit.undo().empty()) {
    if (!undo_one(kit, kit.undo().back())) return false;
    kit.pop_undo();
  }
  return true;
}

// ---- read-only checks ----

void check_discovery(Kit& kit) {
  static constexpr struct {
    const char* path;
    json_type type;
  } kIdentity[] = {
      {"Device.DeviceInfo.ModelName", json_type_string}, {"Device.DeviceInfo.SerialNumber", json_type_string},
      {"Device.DeviceInfo.SoftwareVersion", json_type_string}, {"Device.DeviceInfo.DeviceMode", json_type_string},
      {"Device.DeviceInfo.WIFIConfigFlag", json_type_int}, {"Device.DeviceInfo.UserConfigFlag", json_type_int},
      {"Device.DeviceInfo.GatewayAPautoconfigEnable", json_type_int}, {"Device.DeviceInfo.LoginFlag", json_type_int},
      {"Device.DeviceInfo.DirectConnect", json_type_int}, {"Device.X_Halvo_Ext.SystemInfo.SystemName", json_type_string},
  };
  std::vector<client::DiscoveryAnswer> answers;
  std::string error;
  const auto wait = std::min<std::chrono::milliseconds>(kit.options().timeout, client::kDiscoveryWait);
  if (!client::discover(kit.options().host, kit.options().port, wait, client::kFeatureRequest, answers, error) ||
      answers.empty() || answers[0].payload.empty()) {
    kit.report("discovery", "identity", Verdict::kFail, answers.empty() ? "no answer to the discovery datagram" : error,
               "UDP port 263 may be closed on the LAN side, or the agent cannot read its identity "
               "('sys mfsh', the system package, the probe database /tmp/lanwatch.db)");
    return;
  }
  const JsonPtr identity = json_parse_object(answers[0].payload.c_str());
  std::string wrong;
  for (const auto& member : kIdentity)
    if (!json_object_is_type(at(identity.get(), member.path), member.type)) wrong += std::string(" ") + member.path;
  if (wrong.empty())
    kit.report("discovery", "identity", Verdict::kPass,
               value_text(at(identity.get(), "Device.DeviceInfo.ModelName")) + " " +
                   value_text(at(identity.get(), "Device.DeviceInfo.SoftwareVersion")));
  else
    kit.report("discovery", "identity", Verdict::kFail, "missing or mistyped:" + wrong,
               "the platform's identity sources: 'sys mfsh' and the system package");
}

void check_session(Kit& kit) {
  const Answer query = kit.exchange(kTypeSysQuery, std::string(client::kFeatureRequest), kit.options().password);
  if (at(query, "Device.X_Halvo_Ext.AppInfo.MagicNum") != nullptr)
    kit.report("session", "system query", Verdict::kPass, "the feature list answered");
  else
    kit.report("session", "system query", Verdict::kFail, query.what(),
               "the feature list /etc/pemo-agent/feature.json may be missing or malformed");

  kit.drop_session();
  Reply reply;
  std::string error;
  const FrameHeader bad{kProtocolVersion + 1, kTypeParamGet, 1};  // only its version is wrong
  const HeaderBytes bytes = encode_header(bad);
  kit.exchange(kTypeSysQuery, std::string(client::kFeatureRequest), kit.options().password);  // opens it
  const bool answered = kit.session().valid() &&
                        kit.session().send_raw({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, error) &&
                        kit.session().receive(kit.options().password, reply, error);
  kit.drop_session();
  if (answered && reply.status() == kStatusBadVersion)
    kit.report("session", "bad header", Verdict::kPass, "refused with status -8");
  else
    kit.report("session", "bad header", Verdict::kFail,
               answered ? "answered status " + std::to_string(reply.status()) : "no answer: " + error);

  std::string wrong = kit.options().password;
  wrong.back() = wrong.back() == 'x' ? 'y' : 'x';
  const Answer guess = kit.exchange(kTypeSysQuery, std::string(client::kFeatureRequest), wrong);
  const Answer after = kit.exchange(kTypeSysQuery, std::string(client::kFeatureRequest), kit.options().password);
  if (guess.answered && guess.status == kStatusBadPassword && after.ok())
    kit.report("session", "wrong key", Verdict::kPass, "refused with status -20, the session kept");
  else
    kit.report("session", "wrong key", Verdict::kFail, "wrong key: " + guess.what() + "; then: " + after.what());
}

// Statuses the leaves below a path may answer by the protocol's rule, beside a
// value of their type.
constexpr struct {
  std::string_view below;
  int status;
} kAllowedStatuses[] = {
    {"Device.DeviceInfo.X_Halvo_SoftwareUpdateOTA.", kQueryFailed},  // the online query failed: the firmware check's
    {"Device.DeviceInfo.X_Halvo_SoftwareUpdateOTA.Newfirmwaredate", kFileError},  // no online answer to date
};

// Every readable leaf of each top-level object, answered with its node's type;
// when the object's get fails, each leaf alone, so that the failing one is named.
void check_tree(Kit& kit) {
  const ParamTree& tree = param_tree();
  const int first = tree.first_child(tree.first_child(ParamTree::kRoot));
  for (int top = first;;) {
    JsonPtr asked(json_object_new_object());
    add_member(asked.get(), member_path(tree, top), every_leaf_below(tree, top).release());
    const Answer answer = kit.send(kTypeParamGet, asked.get());
    std::istringstream lines(format_reply(asked.get(), Layout::kPaths));  // one PATH=VALUE line a leaf
    std::string wrong;
    for (std::string line; std::getline(lines, line);) {
      const std::string path = line.substr(0, line.find('='));
      json_object* want = at(asked.get(), path);
      if (answer.ok()) {
        if (!json_object_is_type(at(answer, path), json_object_get_type(want))) wrong += " " + path + " (mistyped or missing)";
        continue;
      }
      const Answer alone = kit.get({path});
      bool allowed = json_object_is_type(at(alone, path), json_object_get_type(want));
      for (const auto& entry : kAllowedStatuses) allowed = allowed || (path.starts_with(entry.below) && alone.status == entry.status);
      if (!allowed) wrong += " " + path + " (" + alone.what() + ")";
    }
    const std::string name = tree.path(top);
    if (!wrong.empty())
      kit.report("tree", name, Verdict::kFail, "failing leaves:" + wrong.substr(0, 300),
                 "the agent's syslog says why (pemo-cli schema names each leaf's handler)");
    else
      kit.report("tree", name, Verdict::kPass, "every readable leaf answered");
    if ((top = tree.next_sibling(top)) == first) break;
  }
}

void check_hosts(Kit& kit) {
  const char* hint = "the probe daemon's database /tmp/lanwatch.db may be missing, or lack its Device table";
  kit.drop_session();  // the count takes the session's snapshot
  const Answer count = kit.get({kHostCount});
  const int hosts = number_at(count, kHostCount);
  if (hosts < 1) {
    kit.report("hosts", "host table", Verdict::kFail, count.ok() ? "no host (this machine is one)" : count.what(), hint);
    return;
  }
  for (int first = 1; first <= hosts; first += client::kHostsPerRequest) {
    const int last = std::min(hosts, first + client::kHostsPerRequest - 1);
    std::vector<std::string> paths;
    for (int k = first; k <= last; ++k) paths.push_back("Device.Hosts.Host." + std::to_string(k) + ".PhysAddress");
    const Answer rows = kit.get(paths);
    for (int k = first; k <= last; ++k)
      if (text_at(rows, "Device.Hosts.Host." + std::to_string(k) + ".PhysAddress").size() != 17) {
        kit.report("hosts", "host table", Verdict::kFail,
                   std::to_string(hosts) + " hosts counted, but host " + std::to_string(k) + " reads " + rows.what(), hint);
        return;
      }
  }
  kit.report("hosts", "host table", Verdict::kPass, std::to_string(hosts) + " hosts, each with its MAC address");
}

void check_diagnostics(Kit& kit) {
  const std::string routes = "Device.X_Halvo_Ext.Router.IPv4ForwardingNumberOfEntries";
  kit.drop_session();
  const Answer count = kit.get({routes});
  const int n = number_at(count, routes);
  const Answer last = n >= 1 ? kit.get({"Device.X_Halvo_Ext.Router.IPv4Forwarding." + std::to_string(n) + "."}) : Answer{};
  if (n >= 1 && last.ok())
    kit.report("diagnostics", "routes", Verdict::kPass, std::to_string(n) + " routes");
  else
    kit.report("diagnostics", "routes", Verdict::kFail, n < 1 ? count.what() : last.what(),
               "the routing tool 'route' gave no table");

  const std::string wan = "Device.X_Halvo_Ext.DeviceInfo.WanInfo.";
  kit.get({wan + "Wan_PhyRate"});  // the rate reads the link first
  const Answer info = kit.get({wan});
  const std::string status = text_at(info, wan + "WanStatus");
  if (status == "Enable")
    kit.report("diagnostics", "WAN", Verdict::kPass, "up at " + text_at(info, wan + "Wan_PhyRate") + " Mbit/s, " +
                                                         text_at(info, wan + "Wan_IPAddress"));
  else
    kit.report("diagnostics", "WAN", Verdict::kFail, info.ok() ? "the WAN reads " + status : info.what(),
               status == "LinkDown" ? "the WAN port has no link: 'sys portspeed 4' answers off-link"
                                    : "the WAN probe's pings ('ping -c 6 8.8.8.8') get no reply");

  const std::string trace = "Device.IP.Diagnostics.TraceRoute.";
  const Answer hops = kit.set({trace + "Host=" + kit.options().host, trace + "DiagnosticsState=Requested",
                               trace + "RouteHopsNumberOfEntries=0"});
  if (number_at(hops, trace + "RouteHopsNumberOfEntries") >= 1 && kit.get({trace + "RouteHops.1."}).ok())
    kit.report("diagnostics", "traceroute", Verdict::kPass, text_at(hops, trace + "RouteHopsNumberOfEntries") + " hops to " + kit.options().host);
  else
    kit.report("diagnostics", "traceroute", Verdict::kFail, hops.what(), "the 'traceroute' tool gave no hops");
}

void check_firmware(Kit& kit) {
  const std::string ota = "Device.DeviceInfo.X_Halvo_SoftwareUpdateOTA.";
  const Answer answer = kit.get({ota + "CheckSoftwareVersion"});
  const Answer versions = answer.ok() ? kit.get({ota + "NewSoftwareVersion", "Device.DeviceInfo.SoftwareVersion"}) : Answer{};
  if (versions.ok())
    kit.report("firmware", "version check", Verdict::kPass,
               "running " + text_at(versions, "Device.DeviceInfo.SoftwareVersion") + ", offered " +
                   text_at(versions, ota + "NewSoftwareVersion"));
  else
    kit.report("firmware", "version check", Verdict::kFail, answer.ok() ? versions.what() : answer.what(),
               "the online query 'get_online_info' failed or wrote no /tmp/get_online_info and /tmp/hvfw_info");
}

// ---- reversible changes (--write) ----

void check_wifi(Kit& kit) {
  const char* family = "wifi";
  const Answer before = kit.get({kSsid});
  const std::string name = text_at(before, kSsid);
  if (name.empty()) {
    kit.report(family, "rename", Verdict::kFail, before.what());
    return;
  }
  const std::string renamed = name.substr(0, kMaxSsid - 6) + "-check";
  const std::string band = "Device.WiFi.SSID.1.CheckFreqBand=24G";
  kit.push_undo("set " + band + " " + kSsid + "=" + name);
  const Answer set = kit.set({band, std::string(kSsid) + "=" + renamed});
  if (!kit.closed_after_wifi_set(set)) {
    kit.report(family, "rename", Verdict::kFail, "the set answered " + set.what() + " and did not close the session");
    return;
  }
  const Answer after = kit.get({kSsid});
  if (text_at(after, kSsid) != renamed) {
    kit.report(family, "rename", Verdict::kFail, "the new name reads back as " + after.what(),
               "the agent could not commit /etc/config/wireless (see its syslog)");
    return;
  }
  const Answer back = kit.set({band, std::string(kSsid) + "=" + name});
  if (kit.closed_after_wifi_set(back) && text_at(kit.get({kSsid}), kSsid) == name) {
    kit.pop_undo();
    kit.report(family, "rename", Verdict::kPass, "renamed, read back after reconnecting, and named back");
  } else {
    kit.report(family, "rename", Verdict::kFail, "naming back answered " + back.what());
  }
}

// Switches an on/off value and back: the read-back must follow each set. A
// Wi-Fi value's set closes the session, so each read takes a new one.
void flip(Kit& kit, const char* family, const char* name, const char* path, const char* hint) {
  const Answer before = kit.get({path});
  const int value = number_at(before, path);
  if (value != 0 && value != 1) {
    kit.report(family, name, Verdict::kFail, before.what());
    return;
  }
  const std::string original = std::string(path) + "=" + std::to_string(value);
  kit.push_undo("set " + original);
  const Answer on = set_when_idle(kit, {std::string(path) + "=" + std::to_string(1 - value)});
  kit.drop_session();
  const Answer read = kit.get({path});
  const Answer off = set_when_idle(kit, {original});
  kit.drop_session();
  const bool restored = number_at(kit.get({path}), path) == value;
  if (restored) kit.pop_undo();
  if (on.ok() && off.ok() && number_at(read, path) == 1 - value && restored)
    kit.report(family, name, Verdict::kPass, "switched to " + std::to_string(1 - value) + " and back");
  else
    kit.report(family, name, Verdict::kFail, "switching answered " + on.what() + ", back " + off.what(), hint);
}

void check_guest(Kit& kit) {
  flip(kit, "guest", "switch", kGuest, "the guest timer tools (addGuestWifiBonus.sh, removeGuestWifiBonus.sh) may fail");
}

void check_mesh(Kit& kit) {
  flip(kit, "mesh", "approval switch", kApproval,
       "the mesh tool /usr/sbin/hv1905App did not answer 00 in /tmp/1905ReturnValue");
}

void check_parental(Kit& kit) {
  const char* family = "parental";
  kit.drop_session();  // a rule is added for a host of this session's snapshot
  const Answer before = kit.get({kHostCount, "Device.Hosts.Host.1.PhysAddress", kRuleCount});
  const std::string mac = text_at(before, "Device.Hosts.Host.1.PhysAddress");
  const int rules = number_at(before, kRuleCount);
  if (mac.size() != 17 || rules < 0) {
    kit.report(family, "rule", Verdict::kFail, "no host or rule count: " + before.what(),
               "the probe daemon's database /tmp/lanwatch.db may be missing");
    return;
  }
  const std::string n = std::to_string(rules + 1);
  const std::string rule = "Device.X_Halvo_Ext.ParentalControl." + n;
  kit.push_undo("rule " + n + " " + mac);
  const Answer add = kit.set({"Device.Hosts.Host.1.X_Halvo_AddPcpRule=1"});
  const Answer read = kit.get({kRuleCount, rule + ".HostMAC"});
  const Answer drop = kit.set({rule + ".Delete=1"});
  const Answer after = kit.get({kRuleCount});
  const bool gone = number_at(after, kRuleCount) == rules;
  if (gone) kit.pop_undo();
  if (add.ok() && text_at(read, rule + ".HostMAC") == mac && gone)
    kit.report(family, "rule", Verdict::kPass, "added for " + mac + ", read back and deleted");
  else
    kit.report(family, "rule", Verdict::kFail,
               "add " + add.what() + ", read " + read.what() + ", delete " + drop.what() + ", then " + after.what(),
               gone ? "" : "the platform's apply command (/sbin/uci_apply parental) must remove rules marked delete '1'");
}

void check_blocking(Kit& kit) {
  const char* family = "blocking";
  const char* hint = "the platform's apply command (/sbin/uci_apply firewall) may be missing or failing";
  const std::string kUnblocked = "Non-Blocking";
  kit.drop_session();
  const Answer count = kit.get({kHostCount});
  // An unblocked host other than this machine, an inactive one if there is one.
  sockaddr_in self{};
  socklen_t size = sizeof self;
  char own[INET_ADDRSTRLEN] = "";
  if (getsockname(kit.session().fd(), reinterpret_cast<sockaddr*>(&self), &size) == 0)
    inet_ntop(AF_INET, &self.sin_addr, own, sizeof own);
  std::string mac, host;
  for (int k = number_at(count, kHostCount); k >= 1; --k) {
    const std::string path = "Device.Hosts.Host." + std::to_string(k) + ".";
    const Answer row = kit.get({path + "PhysAddress", path + "IPAddress", path + "Active", path + "X_Halvo_Blocking"});
    if (text_at(row, path + "X_Halvo_Blocking") != kUnblocked || text_at(row, path + "IPAddress") == own) continue;
    if (mac.empty() || number_at(row, path + "Active") == 0) {
      mac = text_at(row, path + "PhysAddress");
      host = path;
    }
    if (number_at(row, path + "Active") == 0) break;
  }
  if (mac.size() != 17) {
    kit.report(family, "block", Verdict::kSkipped, "no other unblocked host to block");
    return;
  }
  const std::string unblock = "Device.X_Halvo_Ext.EndDevCtrl_UnBlocking.HostMAC=" + mac;
  kit.push_undo("set " + unblock);
  const Answer block = kit.set({"Device.X_Halvo_Ext.EndDevCtrl_Blocking.HostMAC=" + mac});
  const std::string blocked = text_at(kit.get({host + "X_Halvo_Blocking"}), host + "X_Halvo_Blocking");
  const Answer lift = kit.set({unblock});
  const std::string lifted = text_at(kit.get({host + "X_Halvo_Blocking"}), host + "X_Halvo_Blocking");
  if (lift.ok() && lifted == kUnblocked) kit.pop_undo();
  if (block.ok() && blocked == "Blocking" && lift.ok() && lifted == kUnblocked)
    kit.report(family, "block", Verdict::kPass, mac + " blocked and unblocked");
  else
    kit.report(family, "block", Verdict::kFail,
               "block " + block.what() + ", then reads " + blocked + "; unblock " + lift.what() + ", then reads " + lifted,
               lift.ok() && lifted != kUnblocked ? "the platform's apply command (/sbin/uci_apply firewall) must remove rules marked delete '1'"
                                        : hint);
}

void check_wps(Kit& kit) {
  const char* path = "Device.X_Halvo_Ext.WPS.Status";
  const Answer start = kit.set({"Device.X_Halvo_Ext.WPS.Action=1"});
  static constexpr const char* kOutcomes[] = {"idle", "started", "success", "overlap", "timeout"};
  int status = 1;
  for (auto deadline = std::chrono::steady_clock::now() + kit.options().outcome_wait;
       start.ok() && status <= 1 && !g_interrupted;) {
    status = number_at(kit.get({path}), path);
    if (status > 1 || std::chrono::steady_clock::now() >= deadline) break;
    std::this_thread::sleep_for(kPollPace);
  }
  if (start.ok() && status >= 2 && status <= 4)
    kit.report("wps", "push button", Verdict::kPass, std::string("a 2.4 GHz session ended: ") + kOutcomes[status]);
  else
    kit.report("wps", "push button", Verdict::kFail,
               start.ok() ? "no outcome within " + std::to_string(kit.options().outcome_wait.count()) + " s" : start.what(),
               "/bin/halvo_WPS_ctrl must leave /tmp/wps_success, /tmp/pbc_overlap or /tmp/wps_timeout");
}

constexpr struct {
  const char* family;
  bool writes;
  void (*run)(Kit&);
} kChecks[] = {
    {"discovery", false, check_discovery}, {"session", false, check_session},   {"tree", false, check_tree},
    {"hosts", false, check_hosts},         {"diagnostics", false, check_diagnostics}, {"firmware", false, check_firmware},
    {"wifi", true, check_wifi},            {"guest", true, check_guest},        {"parental", true, check_parental},
    {"blocking", true, check_blocking},    {"mesh", true, check_mesh},          {"wps", true, check_wps},
};

constexpr const char* kVerdicts[] = {"pass", "fail", "skipped"};

void print(const Kit& kit) {
  const bool json = kit.options().json;
  JsonPtr list(json_object_new_array());
  for (const Result& result : kit.results()) {
    const char* verdict = kVerdicts[static_cast<int>(result.verdict)];
    if (!json) {
      std::printf("%-7s %-11s %-30s %s\n", verdict, result.family.c_str(), result.name.c_str(), result.detail.c_str());
      if (!result.hint.empty()) std::printf("%-7s %-11s hint: %s\n", "", "", result.hint.c_str());
      continue;
    }
    json_object* entry = json_object_new_object();
    for (const auto& [key, value] : {std::pair{"family", result.family}, std::pair{"name", result.name},
                                     std::pair{"result", std::string(verdict)}, std::pair{"detail", result.detail},
                                     std::pair{"hint", result.hint}})
      json_object_object_add(entry, key, json_object_new_string(value.c_str()));
    json_object_array_add(list.get(), entry);
  }
  if (!json) return;
  JsonPtr document(json_object_new_object());
  json_object_object_add(document.get(), "gateway", json_object_new_string(kit.options().host.c_str()));
  json_object_object_add(document.get(), "write", json_object_new_boolean(kit.options().write));
  json_object_object_add(document.get(), "checks", list.release());
  std::fputs(format_reply(document.get(), Layout::kPretty).c_str(), stdout);
}

}  // namespace

std::string default_undo_file(const std::string& host, std::uint16_t port) {
  const char* state = std::getenv("XDG_STATE_HOME");  // NOLINT(concurrency-mt-unsafe)
  const char* home = std::getenv("HOME");             // NOLINT(concurrency-mt-unsafe)
  const std::string base = state != nullptr && *state != '\0' ? state : std::string(home != nullptr ? home : ".") + "/.local/state";
  return base + "/pemo-cli/check-" + host + "-" + std::to_string(port) + ".undo";
}

int run_check(const CheckOptions& options) {
  bool known = options.only.empty();
  for (const auto& check : kChecks) known = known || options.only == check.family;
  if (!known) {
    std::fprintf(stderr, "pemo-cli: no check family '%s'\n", options.only.c_str());
    return kCheckUsage;
  }
  Kit kit(options);
  std::string error;
  if (!Session::connect(options.host, options.port, options.timeout, error).valid()) {
    std::fprintf(stderr, "pemo-cli: cannot reach the agent at %s:%u: %s\n", options.host.c_str(), options.port, error.c_str());
    return kCheckUnreachable;
  }
  struct sigaction action{};
  action.sa_handler = on_signal;  // no SA_RESTART: a wait in progress ends at once
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);

  // What an interrupted run left is undone first.
  std::ifstream left(options.undo_file);
  for (std::string line; std::getline(left, line);)
    if (!line.empty()) kit.undo().push_back(line);
  if (!kit.undo().empty()) {
    const bool undone = undo_all(kit);
    kit.report("restore", "earlier run", undone ? Verdict::kPass : Verdict::kFail,
               undone ? "what an interrupted run changed is restored" : "could not restore: " + options.undo_file);
    if (!undone) {
      print(kit);
      return kCheckFailed;
    }
  }
  for (const auto& check : kChecks) {
    if (g_interrupted) break;
    if (!options.only.empty() && options.only != check.family) continue;
    if (check.writes && !options.write) {
      kit.report(check.family, "-", Verdict::kSkipped, "changes the gateway: run with --write");
      continue;
    }
    check.run(kit);
  }
  if (g_interrupted) kit.report("restore", "interrupted", Verdict::kFail, "stopped before every check ran");
  g_interrupted = 0;
  if (!undo_all(kit))
    kit.report("restore", "this run", Verdict::kFail, "changes left; run again to restore them (" + options.undo_file + ")");
  print(kit);
  bool failed = false;
  for (const Result& result : kit.results()) failed = failed || result.verdict == Verdict::kFail;
  return failed ? kCheckFailed : kCheckPassed;
}

}  // namespace pemo::cli
