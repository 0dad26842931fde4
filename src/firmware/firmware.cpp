// Gateway firmware update: online check, download, image check and the hand-off
// to the platform's flash script, on a detached worker.
#include "firmware/firmware.h"

#include <unistd.h>

#include <cstdio>
#include <mutex>
#include <thread>

#include "platform/clock.h"
#include "platform/files.h"
#include "platform/shell.h"
#include "platform/thread.h"
#include "platform/lifetime.h"
#include "wire/status.h"
#include "platform/log.h"

namespace pemo {
namespace {


enum FwState : int { kStateFailed = 0, kStateIdle = 1, kStateDownloading = 2, kStateFlashing = 4 };

std::mutex& fw_status_lock() { return process_lifetime<std::mutex, struct StatusFileTag>(); }

// The download is polled every 2 s, 45 times at most (the gateway's wait).
constexpr std::chrono::seconds kDownloadPoll{2};
constexpr int kDownloadPolls = 45;

void write_state(int state) {
  std::lock_guard lock(fw_status_lock());
  // A state file that cannot be written keeps the last state; the worker goes on.
  static_cast<void>(write_text_file("/tmp/fw_status", std::to_string(state) + "\n"));
}

int download() {
  std::string info;
  if (!read_text_file("/tmp/fw_online_info", info)) return kNoFirmwareInfo;
  std::string locator;
  for (const std::string& line : text_lines(info, 63)) {
    if (line.find(".bin") != std::string::npos) {
      locator = line;
      break;
    }
  }
  if (locator.empty()) return log_status(kActionFailed, "the firmware information has no image locator");
  if (!write_text_file("/tmp/get_online_fw", "downloading")) return kFileError;
  // The locator goes to the tool as one quoted argument (without a line end).
  shell_fire("get_online_fw " + shell_quote(locator) + " &");
  std::string word = "downloading";
  for (int k = 0; k < kDownloadPolls; ++k) {
    clock_sleep(kDownloadPoll);
    std::string text;
    if (read_text_file("/tmp/get_online_fw", text, 256)) word = std::string(first_word(text));
    if (word == "success" || word == "fail") break;
  }
  if (word == "fail") return -1;
  if (word == "downloading") {
    shell_fire("killall -9 get_online_fw");
    shell_fire("killall -9 wget");
    static_cast<void>(write_text_file("/tmp/get_online_fw", "fail\n"));  // the download is given up either way
    unlink_file("/tmp/rootfs");
    return -1;
  }
  return 0;
}

// The image check reads and verifies the whole downloaded image; on the slowest
// gateways that takes well under a minute. One still running after this is cut.
constexpr std::chrono::minutes kImageCheckBound{10};

enum class Check { kRan, kNoFlagFile, kUnfinished };

// Runs the image check; its verdict is then in /tmp/logfile. A check that did not
// end by itself (cut, killed, or never run) leaves no verdict: kUnfinished.
Check image_check() {
  std::string text;
  if (!read_text_file("/tmp/fw_mtd", text, 256)) return Check::kNoFlagFile;
  const std::string_view word = first_word(text);
  int status;
  if (word == "single" || word == "ff01" || word == "ffff") {
    status = shell_run("fw_upgrade fw_check 1> /tmp/logfile 2> /dev/null", kImageCheckBound);
  } else {
    // Read the flash flag afresh from the partition and hand it to the check;
    // reading two bytes and dumping them take no time (default bound).
    shell_fire("dd if=/dev/mtdblock3 of=/tmp/mtd3 bs=2 count=1");
    shell_fire("hexdump /tmp/mtd3 | grep '0000000'|cut -c '9-12' >/tmp/fw_mtd");
    status = shell_run("fw_upgrade fw_check $(cat /tmp/fw_mtd) 1> /tmp/logfile 2> /dev/null", kImageCheckBound);
  }
  return ran_to_end(status) ? Check::kRan : Check::kUnfinished;
}

// A refused image, or one whose check has no verdict: never handed to the flash script.
void refuse_image() {
  unlink_file("/tmp/rootfs");
  // The image is gone either way; an unwritten verdict reads as the last one.
  static_cast<void>(write_text_file("/tmp/fw_upgrade_status", "Fail\n"));
}

void fail_upgrade(bool remove_image) {
  if (remove_image) unlink_file("/tmp/rootfs");
  fw_flashing = false;
  write_state(kStateFailed);
  fw_upgrade_running = false;
}

void fw_upgrade_worker() {
  write_state(kStateDownloading);
  if (download() != 0) {
    write_state(kStateFailed);
    fw_upgrade_running = false;
    return;
  }
  write_state(kStateFlashing);
  fw_flashing = true;
  switch (image_check()) {
    case Check::kNoFlagFile: return fail_upgrade(true);
    case Check::kUnfinished: refuse_image(); return fail_upgrade(false);
    case Check::kRan: break;
  }
  std::string log;
  if (!read_text_file("/tmp/logfile", log)) return fail_upgrade(false);
  for (const std::string& line : text_lines(log, 63)) {
    if (line.find("Wrong") != std::string::npos) {
      refuse_image();
      return fail_upgrade(false);
    }
  }
  // The flash script takes over and restarts the gateway; state 4 and both flags stay.
  shell_fire("sleep 1 && echo 1 > /proc/sys/vm/drop_caches");
  shell_fire("echo 'Firmware upgrading, Please wait !' > /dev/console");
  shell_fire("halvo_led_ctrl upgrate");
  shell_fire("do_fw_upgrade.sh &");
}

std::string update_status() {
  std::string outcome;
  if (read_text_file("/tmp/fw_upgrade_status", outcome))
    return shell_capture("cat /tmp/fw_upgrade_status | tr -d '\n'", 49).output;
  ShellResult r = shell_capture("cat /proc/sys/vm/drop_caches", 49);
  return r.output == "1\n" ? "Firmware upgrading, Please wait !" : "Ready";
}

int new_version(bool latest, std::string& text) {
  std::string version;
  int rc = get_online_info(false, version);
  if (rc < 0) return rc;
  text = rc == 1 ? version : latest ? "No newer firmware exists" : "";
  return 0;
}

}  // namespace

std::string firmware_info_value(const std::string& text, std::string_view label) {
  for (const std::string& line : text_lines(text, 127)) {
    if (line.find(label) == std::string::npos) continue;
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos) return {};
    return std::string(first_word(std::string_view(line).substr(colon + 1)));
  }
  return {};
}

int get_online_info(bool query, std::string& version) {
  if (query) {
    // An online query: a slow server or link may take a minute. A cut query can
    // leave an earlier run's "success" behind, so it counts as a failed one.
    constexpr std::chrono::minutes kOnlineQueryBound{2};
    if (!ran_to_end(shell_run("get_online_info", kOnlineQueryBound)) ||
        read_first_word("/tmp/get_online_info") != "success")
      return kQueryFailed;
  }
  std::string info;
  if (!read_text_file("/tmp/hvfw_info", info)) return kQueryFailed;
  version = firmware_info_value(info, "FW version");
  std::string running;
  if (!read_text_file("/tmp/firmware_version", running)) return kFileError;
  return first_word(running) != version ? 1 : 0;
}

int fw_upgrade_start() {
  bool expected = false;
  if (!fw_upgrade_running.compare_exchange_strong(expected, true))
    return log_status(kActionFailed, "an upgrade is running already");
  if (spawn_detached(fw_upgrade_worker) != 0) {
    fw_upgrade_running = false;
    return log_status(kActionFailed, "the upgrade worker could not be started");
  }
  return 0;
}

int fw_state_read(std::string& text) {
  std::lock_guard lock(fw_status_lock());
  if (!file_exists("/tmp/fw_status")) {
    text = "1";
    return 0;
  }
  std::string content;
  if (!read_text_file("/tmp/fw_status", content, 64)) {
    text = "1";
    return kFileError;
  }
  text = std::string(first_word(content));
  return 0;
}

namespace {

int running_version(std::string_view, ParseContext& context) {
  if (context.is_set()) return kNotWritable;
  std::string running;
  if (!read_text_file("/tmp/firmware_version", running)) return kFileError;
  context.text = std::string(first_word(running));
  return 0;
}

// CheckSoftwareVersion asks the online service first; HasNewSoftware reads what
// the last query left.
int online_check(bool query, ParseContext& context) {
  std::string version;
  const int rc = get_online_info(query, version);
  context.text = std::to_string(rc);
  return rc;
}

int new_firmware_date(std::string_view, ParseContext& context) {
  std::string info;
  if (!read_text_file("/tmp/hvfw_info", info)) return kFileError;
  // Without a "Release date" line the date reads as empty.
  context.text = firmware_info_value(info, "Release date");
  return 0;
}

int upgrade_switch(std::string_view value, ParseContext& context) {
  if (!context.is_set()) {
    context.text = "0";
    return 0;
  }
  return value == "1" ? fw_upgrade_start() : kValueRefused;
}

int upgrade_status(std::string_view, ParseContext& context) {
  if (context.is_set()) return kNotWritable;
  context.text = update_status();
  return 0;
}

// The nodes fw_param_handler serves, by their catalogue argument.
struct FirmwareRow {
  std::string_view argument;
  int (*serve)(std::string_view value, ParseContext& context);
};
constexpr FirmwareRow kFirmwareRows[] = {
    {"GET_SOFT_VER", running_version},
    {"CHECK_SOFT_VER", [](std::string_view, ParseContext& c) { return online_check(true, c); }},
    {"HAS_NEW_SOFT", [](std::string_view, ParseContext& c) { return online_check(false, c); }},
    {"NEW_FW_DATE", new_firmware_date},
    {"FW_UPGRADE_STATUS", [](std::string_view, ParseContext& c) { return fw_state_read(c.text); }},
    {"GET_NEW_SOFT_VER", [](std::string_view, ParseContext& c) { return new_version(false, c.text); }},
    {"GET_LATESTSOFT_VER",
     [](std::string_view, ParseContext& c) { return c.is_set() ? kNotWritable : new_version(true, c.text); }},
    {"UPDATE_SOFT_VER", upgrade_switch},
    {"UPDATE_SOFT_STATUS", upgrade_status},
};
static_assert(rows_keyed_by(kFirmwareRows, kFirmwareArguments));

}  // namespace

int fw_param_handler(std::string_view, std::string_view raw_value, ParseContext& context) {
  for (const FirmwareRow& row : kFirmwareRows)
    if (row.argument == context.text) return row.serve(cut_at_quotes(raw_value), context);
  return kNothingHere;  // no catalogue node: its build checks every argument has a row
}

}  // namespace pemo
