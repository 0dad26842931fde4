// The gateway as handler tests find it: seeded configuration, probe database and
// feature list, this thread's connection record, every platform command recorded.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <thread>
#include <vector>

#include "contract/connection.h"
#include "platform/cfg.h"
#include "platform/probe_db.h"
#include "platform/probe_db_seam.h"
#include "contract/features.h"
#include "support/clock.h"
#include "support/probe.h"
#include "support/sandbox.h"
#include "support/walk.h"

namespace pemo::test {

// {"Device":<request>} walked (a set when `set`) leaves <reply>, or "<status>".
struct Row {
  std::string request;
  std::string reply;
  bool set = false;
};

// What entering "WiFi" in a set runs first: the WPS watchers stopped.
inline const std::vector<std::string> kWpsWatcherStops = {
    "ps | grep 'watch -tn 1 wps_conf_24G' | grep -v grep | awk '{print $1}' | while read pid; do kill $pid; done",
    "ps | grep 'watch -tn [15] wps_conf_5G' | grep -v grep | awk '{print $1}' | while read pid; do kill $pid; done"};

class HandlerTest : public testing::Test {
 protected:
  void SetUp() override {
    seed_gateway_config();
    seed_probe_db(kProbeDbPath);
    ASSERT_EQ(probe_db_open(), 0);
    write_file(kFeatureFile, read_file(PEMO_SOURCE_DIR "/data/feature.json"));
    ASSERT_EQ(sys_query_response_init(), 0);
    ASSERT_EQ(connection_record_add(std::this_thread::get_id()), 0);
  }
  void TearDown() override {
    connection_record_remove(std::this_thread::get_id());
    probe_db_close();
  }
  static void check(std::initializer_list<Row> rows) {
    for (const Row& row : rows) EXPECT_EQ(device(row.request, row.set), row.reply) << row.request;
  }
  // A configuration value, or "<status>".
  static std::string option(const std::string& path) {
    std::string value = path;
    const int status = cfg_get(value);
    return status == 0 ? value : "<" + std::to_string(status) + ">";
  }
  // Configuration values as option() gives them, joined by " | ".
  static std::string options(const std::vector<std::string>& paths) {
    std::string joined;
    for (const std::string& path : paths) joined += (&path == &paths.front() ? "" : " | ") + option(path);
    return joined;
  }
  static std::string cell(const std::string& query) { return sql(kProbeDbPath, query).at(0).at(0); }
  RecordingRunner runner_;
  ScopedRunner scoped_{runner_};
  // The product's pauses (polls, the apply delay, tool waits) pass at once,
  // moving the clock on by their length.
  ManualClock& clock_ = process_clock(ManualClock::Mode::kAdvanceOnSleep);
  ScopedClock scoped_clock_{clock_};
};

}  // namespace pemo::test
