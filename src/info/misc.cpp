// Small values without a backend of their own, and the speed test.
#include <signal.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <thread>
#include <cstdlib>
#include <mutex>

#include "contract/features.h"
#include "info/info.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/shell.h"
#include "platform/lifetime.h"
#include "wire/status.h"
#include "platform/log.h"

namespace pemo {
namespace {

constexpr const char* kSpeedTestUrlFile = "/tmp/SpeedTestURL";
constexpr const char* kSpeedTestInfoFile = "/tmp/SpeedTestInfo";
constexpr const char* kWebServer = "/bin/hvhttpd";
constexpr const char* kWebServerPidFile = "/var/run/hvhttpd.pid";
constexpr int kWebServerPort = 5566;
constexpr int kNumberOfRadios = 2;

// Results of the last SpeedTestEnd, read by any connection.
struct SpeedResults {
  std::mutex mutex;
  float upload = 0;
  float download = 0;
};

SpeedResults& speed_results() { return process_lifetime<SpeedResults>(); }

enum class ServerState { kStopped, kRunning, kUnknown };

struct WebServer {
  ServerState state = ServerState::kStopped;
  pid_t pid = 0;  // with kRunning: the process that was seen, 1..INT_MAX
};

// Reads the pid file once and tests that process. A pid outside 1..INT_MAX names
// no single process (0 and -1 would signal groups), so it counts as stopped.
WebServer web_server() {
  WebServer server;
  if (!file_exists(kWebServerPidFile)) return server;
  std::string text;
  if (!read_text_file(kWebServerPidFile, text, 64)) {
    server.state = ServerState::kUnknown;
    return server;
  }
  long long pid = 0;
  if (std::sscanf(text.c_str(), "%lld", &pid) != 1 || pid < 1 || pid > INT_MAX) return server;
  if (file_exists("/proc/" + std::to_string(pid) + "/comm")) {
    server.state = ServerState::kRunning;
    server.pid = static_cast<pid_t>(pid);
  }
  return server;
}

int web_server_start() {
  if (web_server().state != ServerState::kStopped)
    return log_status(kActionFailed, "the speed-test server runs already");
  shell_fire(std::string(kWebServer) + " -p " + std::to_string(kWebServerPort) + " -P " +
            kWebServerPidFile + " &");
  clock_sleep(std::chrono::seconds(2));
  return 0;
}

// Kills exactly the process that was tested, never a pid read again afterwards.
int web_server_stop() {
  const WebServer server = web_server();
  if (server.state == ServerState::kRunning) kill(server.pid, SIGKILL);
  return 0;
}

int speed_test_end(std::string_view, ParseContext& context) {
  context.text = "1";
  float download = 0, upload = 0;
  unsigned char end_flag = 1;
  if (file_exists(kSpeedTestInfoFile)) {
    std::string text;
    if (!read_text_file(kSpeedTestInfoFile, text, 4096)) {
      std::lock_guard lock(speed_results().mutex);
      speed_results().upload = speed_results().download = 0;
      return kFileError;
    }
    const SpeedTestResult result = parse_speed_test(text);
    download = result.download;
    upload = result.upload;
    end_flag = result.end_flag;
  }
  {
    std::lock_guard lock(speed_results().mutex);
    speed_results().download = download;
    speed_results().upload = upload;
  }
  context.text = std::to_string(end_flag);
  return 0;
}

std::string format_speed(float speed) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", static_cast<double>(speed));
  return text;
}

void write_speed_test_urls(std::string_view value) {
  std::string url(value.substr(0, value.find(',')));
  std::string lines;
  for (int k = 0; k < 8; ++k) lines += url + "\n";
  // The set itself has no status: a list that cannot be written leaves the test without servers.
  static_cast<void>(write_text_file(kSpeedTestUrlFile, lines));
}


int radio_count(std::string_view, ParseContext& context) {
  context.text = std::to_string(kNumberOfRadios);
  return 0;
}

int security_modes(std::string_view, ParseContext& context) {
  const int access_point = context.instance[0];
  context.text = access_point == 0 || access_point == 4 ? "none,WPA2PSK" : "none,WPAPSK,WPA2PSK";
  return 0;
}

// The two announcements of the application: echoed, and flagged when they are not
// ours. An empty value does not match.
int magic_number(std::string_view value, ParseContext& context) {
  if (value.empty() || value != kMagicNumber) context.flags |= kFlagMagicMismatch;
  context.text.assign(value);
  return 0;
}

int app_version(std::string_view value, ParseContext& context) {
  if (value.empty() || std::atoi(std::string(value).c_str()) != kServedAppVersion) context.flags |= kFlagVersionFail;
  context.text.assign(value);
  return 0;
}

int parental_rule_count(std::string_view, ParseContext& context) {
  ShellResult r = shell_capture("cat /etc/config/parental | grep 'config parental_rule' | wc -l", 128);
  if (r.status < 0 && !r.timed_out && r.output.empty()) return kPipeFailed;
  context.text.assign(first_word(r.output));
  return 0;
}

int speed_test_urls(std::string_view value, ParseContext&) {
  if (!value.empty()) write_speed_test_urls(value);
  return 0;
}

int speed_test_start(std::string_view value, ParseContext&) {
  if (value == "Upload")
    shell_fire(std::string("/usr/bin/SpeedTest -c 10 -f ") + kSpeedTestUrlFile + " -p 80 -s up -l 1000 &");
  else if (value == "Download")
    shell_fire(std::string("/usr/bin/SpeedTest -c 10 -f ") + kSpeedTestUrlFile +
               " -p 80 -s down -u /speedtest/random3500x3500.jpg &");
  return 0;
}

int upload_speed(std::string_view, ParseContext& context) {
  std::lock_guard lock(speed_results().mutex);
  context.text = format_speed(speed_results().upload);
  return 0;
}

int download_speed(std::string_view, ParseContext& context) {
  std::lock_guard lock(speed_results().mutex);
  context.text = format_speed(speed_results().download);
  return 0;
}

int server_port(std::string_view, ParseContext& context) {
  context.text = std::to_string(kWebServerPort);
  return 0;
}

int web_server_switch(std::string_view value, ParseContext&) {
  return value == "1" ? web_server_start() : web_server_stop();
}

int answer_own_text(std::string_view, ParseContext&) { return 0; }

// The nodes misc_param_handler serves, by their catalogue argument.
struct MiscRow {
  std::string_view argument;
  int (*serve)(std::string_view value, ParseContext& context);
};
constexpr MiscRow kMiscRows[] = {
    {"0", radio_count},  // RadioNumberOfEntries
    {"GET_SECURITY_MODES", security_modes},
    {"GET_MAGIC_NUM", magic_number},
    {"GET_APP_VER", app_version},
    {"GET_PARENTAL_NOE", parental_rule_count},
    {"SpeedTest_URL", speed_test_urls},
    {"SpeedTest_Type", speed_test_start},
    {"SpeedTestEnd", speed_test_end},
    {"UploadSpeed", upload_speed},
    {"DownloadSpeed", download_speed},
    {"ServerPort", server_port},
    {"Enable", web_server_switch},
    // Values the gateway has never filled in: the node answers its argument text.
    {"AP_ENTRY_NUM", answer_own_text},
    {"TOTAL_ASSOCIATION", answer_own_text},
    {"ASSOCIATE_DEVICE_MAC", answer_own_text},
    {"GET_SUPPORT_TXPOWER", answer_own_text},
    {"GET_SUPPORT_AUTOCHANNEL", answer_own_text},
    {"GET_SSID_NUMBER", answer_own_text},
};
static_assert(rows_keyed_by(kMiscRows, kMiscArguments));

}  // namespace

SpeedTestResult parse_speed_test(std::string_view text) {
  SpeedTestResult result;
  const std::string word(first_word(text).substr(0, 63));
  std::sscanf(word.c_str(), "%f,%f,%hhu", &result.download, &result.upload, &result.end_flag);
  return result;
}

int misc_param_handler(std::string_view, std::string_view raw_value, ParseContext& context) {
  for (const MiscRow& row : kMiscRows)
    if (row.argument == context.text) return row.serve(cut_at_quotes(raw_value), context);
  return kNothingHere;  // no catalogue node: its build checks every argument has a row
}

}  // namespace pemo
