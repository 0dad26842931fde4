// Gateway firmware update and the extender firmware list, against a platform
// whose tools answer as a test scenario says.
#include <gtest/gtest.h>

#include <functional>
#include <mutex>
#include <thread>

#include "firmware/firmware.h"
#include "platform/json.h"
#include "platform/probe_db.h"
#include "request/parser.h"
#include "support/probe.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

using namespace std::chrono_literals;

// Records every command and lets a scenario act for the tools it names.
class ScenarioRunner final : public CommandRunner {
 public:
  ShellResult execute(const ShellRequest& request) override {
    Scene scene;
    {
      std::lock_guard lock(mutex_);
      commands_.push_back(request.command);
      for (const auto& [needle, act] : scenes_)
        if (request.command.find(needle) != std::string::npos) scene = act;
    }
    if (scene.action) scene.action();
    // Reading files back is no platform tool: that runs for real.
    if (request.command.rfind("cat ", 0) == 0) return posix_runner().execute(request);
    return scene.result;
  }
  // The last scene whose needle a command holds acts for it.
  void on(std::string needle, std::function<void()> action, ShellResult result = {0, false, {}}) {
    std::lock_guard lock(mutex_);
    scenes_.emplace_back(std::move(needle), Scene{std::move(action), std::move(result)});
  }
  std::vector<std::string> commands() {
    std::lock_guard lock(mutex_);
    return commands_;
  }
  bool ran(const std::string& command) {
    for (const std::string& c : commands())
      if (c == command) return true;
    return false;
  }

 private:
  std::mutex mutex_;
  std::vector<std::string> commands_;
  struct Scene {
    std::function<void()> action;
    ShellResult result{0, false, {}};
  };
  std::vector<std::pair<std::string, Scene>> scenes_;
};

class Firmware : public testing::Test {
 protected:
  void SetUp() override {
    PEMO_REQUIRE_SANDBOX();
    fw_set_download_wait({std::chrono::milliseconds(20), 5});
    test::write_file("/tmp/firmware_version", "1.2.2\n");
    test::write_file("/tmp/hvfw_info", "Model: X\nFW version: 1.2.3\nRelease date: 2026-11-01\n");
    test::write_file("/tmp/fw_online_info", "model x\nhttp://fw.example/x-1.2.3.bin\n");
    test::write_file("/tmp/fw_mtd", "ff01\n");
    runner_.on("get_online_info", [] { test::write_file("/tmp/get_online_info", "success\n"); });
  }
  void TearDown() override {
    fw_upgrade_running = false;
    fw_flashing = false;
  }
  std::string ota(const std::string& members, bool set = false) {
    JsonPtr document(json_tokener_parse(
        (R"({"Device":{"DeviceInfo":{"X_Halvo_SoftwareUpdateOTA":{)" + members + "}}}}").c_str()));
    ParseContext context = new_parse_context(set);
    int r = message_parser(document.get(), context);
    if (r < 0) return "<" + std::to_string(r) + ">";
    json_object* info = json_object_object_get(json_object_object_get(document.get(), "Device"), "DeviceInfo");
    return json_object_to_json_string_ext(json_object_object_get(info, "X_Halvo_SoftwareUpdateOTA"),
                                          JSON_C_TO_STRING_PLAIN);
  }
  // Waits for the worker to leave the running state (or to reach the hand-off).
  void wait_for_worker() {
    for (int k = 0; k < 200 && fw_upgrade_running && !runner_.ran("do_fw_upgrade.sh &"); ++k)
      std::this_thread::sleep_for(10ms);
  }
  ScenarioRunner runner_;
  ScopedRunner scoped_{runner_};
};

TEST_F(Firmware, VersionsOnlineAndRunning) {
  EXPECT_EQ(ota(R"("FWUpgradeState":9,"CheckSoftwareVersion":"","NewSoftwareVersion":"","Newfirmwaredate":"")"),
            R"({"FWUpgradeState":1,"CheckSoftwareVersion":"1","NewSoftwareVersion":"1.2.3","Newfirmwaredate":"2026-11-01"})");
  test::write_file("/tmp/firmware_version", "1.2.3\n");
  EXPECT_EQ(ota(R"("HasNewSoftware":5,"LatestSoftwareVersion":"","NewSoftwareVersion":"x")"),
            R"({"HasNewSoftware":0,"LatestSoftwareVersion":"No newer firmware exists","NewSoftwareVersion":""})");
  unlink("/tmp/hvfw_info");
  EXPECT_EQ(ota(R"("HasNewSoftware":5)"), "<-23>");
  test::write_file("/tmp/hvfw_info", "FW version: 1.2.3\n");
  unlink("/tmp/firmware_version");
  EXPECT_EQ(ota(R"("HasNewSoftware":5)"), "<-18>");
  test::write_file("/tmp/get_online_info", "");
  runner_.on("get_online_info", [] { test::write_file("/tmp/get_online_info", "error\n"); });
  EXPECT_EQ(ota(R"("CheckSoftwareVersion":"")"), "<-23>");
  // A query cut at its bound counts as failed, whatever an earlier run left.
  runner_.on("get_online_info", [] { test::write_file("/tmp/get_online_info", "success\n"); }, {-1, true, {}});
  EXPECT_EQ(ota(R"("CheckSoftwareVersion":"")"), "<-23>");
}

TEST_F(Firmware, OnlyOneAsSetValueStartsAnUpgrade) {
  EXPECT_EQ(ota(R"("UpdateSoftware":"2")", true), "<-21>");
  EXPECT_EQ(ota(R"("UpdateSoftware":"")"), R"({"UpdateSoftware":"0"})");
  EXPECT_FALSE(fw_upgrade_running);
  EXPECT_EQ(ota(R"("UpdateSoftwareStatus":"")"), R"({"UpdateSoftwareStatus":"Ready"})");
}

TEST_F(Firmware, CleanUpgradeIsHandedToTheFlashScript) {
  runner_.on("get_online_fw", [] { test::write_file("/tmp/get_online_fw", "success\n"); });
  runner_.on("fw_check", [] { test::write_file("/tmp/logfile", "check ok\n"); });
  // The handler leaves its keyword in the text, which a set reply shows.
  EXPECT_EQ(ota(R"("UpdateSoftware":"1")", true), R"({"UpdateSoftware":"UPDATE_SOFT_VER"})");
  EXPECT_TRUE(fw_upgrade_running);
  EXPECT_EQ(fw_upgrade_start(), -26) << "a second worker is refused";
  wait_for_worker();
  EXPECT_EQ(ota(R"("FWUpgradeState":0)"), R"({"FWUpgradeState":4})");
  EXPECT_TRUE(fw_upgrade_running);
  EXPECT_TRUE(fw_flashing);
  auto commands = runner_.commands();
  EXPECT_EQ(std::vector<std::string>(commands.end() - 4, commands.end()),
            (std::vector<std::string>{"sleep 1 && echo 1 > /proc/sys/vm/drop_caches",
                                      "echo 'Firmware upgrading, Please wait !' > /dev/console",
                                      "halvo_led_ctrl upgrate", "do_fw_upgrade.sh &"}));
  EXPECT_TRUE(runner_.ran("get_online_fw 'http://fw.example/x-1.2.3.bin' &"));
  EXPECT_TRUE(runner_.ran("fw_upgrade fw_check 1> /tmp/logfile 2> /dev/null"));
}

TEST_F(Firmware, RefusedImageFailsAndAllowsRebootAgain) {
  test::write_file("/tmp/fw_mtd", "0001\n");
  runner_.on("get_online_fw", [] {
    test::write_file("/tmp/get_online_fw", "success\n");
    test::write_file("/tmp/rootfs", "image");
  });
  runner_.on("fw_check $(cat", [] { test::write_file("/tmp/logfile", "header\nWrong image!\n"); });
  ASSERT_EQ(fw_upgrade_start(), 0);
  wait_for_worker();
  EXPECT_FALSE(fw_upgrade_running);
  EXPECT_FALSE(fw_flashing);
  EXPECT_FALSE(test::file_exists("/tmp/rootfs"));
  EXPECT_EQ(ota(R"("FWUpgradeState":9,"UpdateSoftwareStatus":"")"), R"({"FWUpgradeState":0,"UpdateSoftwareStatus":"Fail"})");
  EXPECT_TRUE(runner_.ran("dd if=/dev/mtdblock3 of=/tmp/mtd3 bs=2 count=1"));
  EXPECT_TRUE(runner_.ran("fw_upgrade fw_check $(cat /tmp/fw_mtd) 1> /tmp/logfile 2> /dev/null"));
}

// A check that did not end by itself (cut at its bound, killed, or never run) has
// no verdict: the image is refused as a "Wrong" log would refuse it, never flashed.
TEST_F(Firmware, CheckWithoutAVerdictRefusesTheImage) {
  runner_.on("get_online_fw", [] {
    test::write_file("/tmp/get_online_fw", "success\n");
    test::write_file("/tmp/rootfs", "image");
  });
  for (const ShellResult& unfinished : {ShellResult{-1, true, {}}, ShellResult{128 + 9, false, {}},
                                        ShellResult{127, false, {}}}) {
    runner_.on("fw_check", [] { test::write_file("/tmp/logfile", "checking block 1 of 90\n"); }, unfinished);
    unlink("/tmp/fw_upgrade_status");
    ASSERT_EQ(fw_upgrade_start(), 0);
    wait_for_worker();
    EXPECT_FALSE(fw_upgrade_running) << unfinished.status;
    EXPECT_FALSE(fw_flashing);
    EXPECT_FALSE(test::file_exists("/tmp/rootfs"));
    EXPECT_EQ(ota(R"("FWUpgradeState":9,"UpdateSoftwareStatus":"")"),
              R"({"FWUpgradeState":0,"UpdateSoftwareStatus":"Fail"})");
  }
  EXPECT_FALSE(runner_.ran("do_fw_upgrade.sh &"));
  // A check that ends by itself with a failing status still lets the log decide.
  runner_.on("fw_check", [] { test::write_file("/tmp/logfile", "check ok\n"); }, ShellResult{1, false, {}});
  ASSERT_EQ(fw_upgrade_start(), 0);
  wait_for_worker();
  EXPECT_TRUE(runner_.ran("do_fw_upgrade.sh &"));
}

TEST_F(Firmware, DownloadThatNeverFinishesIsKilled) {
  test::write_file("/tmp/rootfs", "partial");
  ASSERT_EQ(fw_upgrade_start(), 0);
  wait_for_worker();
  EXPECT_FALSE(fw_upgrade_running);
  EXPECT_TRUE(runner_.ran("killall -9 get_online_fw"));
  EXPECT_TRUE(runner_.ran("killall -9 wget"));
  EXPECT_EQ(test::read_file("/tmp/get_online_fw"), "fail\n");
  EXPECT_FALSE(test::file_exists("/tmp/rootfs"));
  EXPECT_EQ(test::read_file("/tmp/fw_status"), "0\n");
}

TEST_F(Firmware, DownloadFailureAndMissingFiles) {
  runner_.on("get_online_fw", [] { test::write_file("/tmp/get_online_fw", "fail\n"); });
  ASSERT_EQ(fw_upgrade_start(), 0);
  wait_for_worker();
  EXPECT_EQ(test::read_file("/tmp/fw_status"), "0\n");
  EXPECT_FALSE(runner_.ran("killall -9 wget"));
  unlink("/tmp/fw_online_info");
  ASSERT_EQ(fw_upgrade_start(), 0);
  wait_for_worker();
  EXPECT_FALSE(fw_upgrade_running);
}

class ExtenderFirmware : public Firmware {
 protected:
  void SetUp() override {
    Firmware::SetUp();
    if (IsSkipped()) return;
    test::seed_probe_db(kProbeDbPath);
    ASSERT_EQ(probe_db_open(), 0);
  }
  void TearDown() override {
    probe_db_close_for_tests();
    Firmware::TearDown();
  }
  std::string ext(const std::string& object, bool set = false) {
    JsonPtr document(json_tokener_parse((R"({"Device":{"X_Halvo_Ext":)" + object + "}}").c_str()));
    ParseContext context = new_parse_context(set);
    int r = message_parser(document.get(), context);
    if (r < 0) return "<" + std::to_string(r) + ">";
    return json_object_to_json_string_ext(json_object_object_get(json_object_object_get(document.get(), "Device"),
                                                                 "X_Halvo_Ext"),
                                          JSON_C_TO_STRING_PLAIN);
  }
};

TEST_F(ExtenderFirmware, ListHoldsExtendersWithNewFirmware) {
  test::sql(kProbeDbPath, R"(INSERT INTO Device (DevType, ALMac, HostName, Alive, nNotAlive, ExtraInfo) VALUES)"
                          R"( ('L2Device','aa:00:00:00:00:03',NULL,1,0,'{"Newfirmware":1}'),)"
                          R"( ('L2Device','aa:00:00:00:00:04','gone',0,3,'{"Newfirmware":1}');)");
  EXPECT_EQ(ext(R"({"FWNumberOfEntries":0,"FWUpgrade":{"i1":{"ModelName":"","MACAddress":"","Newfirmware":0,)"
                R"("NewFWUpgradeVersion":"","Newfirmwaredate":""},"i2":{"ModelName":"x","NewFWUpgradeVersion":"x",)"
                R"("NewFWUpgradeState":5},"i3":{"ModelName":"y"}}})"),
            R"({"FWNumberOfEntries":2,"FWUpgrade":{"i1":{"ModelName":"LivingRoom-Ext","MACAddress":"02:10:18:cc:dd:01",)"
            R"("Newfirmware":1,"NewFWUpgradeVersion":"1.0.12","Newfirmwaredate":"2026-10-01"},)"
            R"("i2":{"ModelName":"","NewFWUpgradeVersion":"","NewFWUpgradeState":0},"i3":{"ModelName":""}}})");
}

TEST_F(ExtenderFirmware, UpgradeCommandForms) {
  ext(R"({"L2DevCtrl_FWCfg":{"HostMAC":"02:10:18:cc:dd:01","ControlOption":1}})", true);
  EXPECT_EQ(runner_.commands().back(), "/usr/sbin/hv1905App 9 '02:10:18:cc:dd:01' '1' 0 NULL");
  ext(R"({"L2DevCtrl_FWCfg":{"AdditionalOption":2,"AdditionalURL":"http://x/y.bin","HostMAC":"m1","ControlOption":1}})",
      true);
  EXPECT_EQ(runner_.commands().back(), "/usr/sbin/hv1905App 9 'm1' '1' '2' 'http://x/y.bin'");
  const auto before = runner_.commands().size();
  ext(R"({"L2DevCtrl_AutoCfg":{"ControlOption":1}})", true);
  EXPECT_EQ(runner_.commands().size(), before) << "the MAC has not come yet";
  ext(R"({"L2DevCtrl_AutoCfg":{"HostMAC":"m2; reboot"}})", true);
  EXPECT_EQ(runner_.commands().back(), "/usr/sbin/hv1905App 7 'm2; reboot' '1'");
  // The limit is on the command as composed (127 characters), not on its quoted
  // form: a 98-character locator fits exactly, one more is refused with -21 and
  // forgotten, so the next command runs.
  const std::string url(98, 'u');
  ext(R"({"L2DevCtrl_FWCfg":{"AdditionalOption":2,"AdditionalURL":")" + url + R"(","HostMAC":"m3","ControlOption":1}})",
      true);
  EXPECT_EQ(runner_.commands().back(), "/usr/sbin/hv1905App 9 'm3' '1' '2' '" + url + "'");
  EXPECT_EQ(ext(R"({"L2DevCtrl_FWCfg":{"AdditionalOption":2,"AdditionalURL":")" + url +
                R"(u","HostMAC":"m3","ControlOption":1}})", true),
            "<-21>");
  EXPECT_EQ(runner_.commands().back(), "/usr/sbin/hv1905App 9 'm3' '1' '2' '" + url + "'");
  ext(R"({"L2DevCtrl_FWCfg":{"HostMAC":"m4","ControlOption":1}})", true);
  EXPECT_EQ(runner_.commands().back(), "/usr/sbin/hv1905App 9 'm4' '1' 0 NULL");
}

TEST_F(ExtenderFirmware, UpgradeStateAndSuccess) {
  test::sql(kProbeDbPath, R"(UPDATE Device SET ExtraInfo='{"NewfirmwareUpgradeState":3}' WHERE ALMac='02:10:18:cc:dd:01';)");
  EXPECT_EQ(ext(R"({"L2DevCtrl_FWCfg":{"HostMAC":"02:10:18:cc:dd:01","NewFWUpgradeState":0}})"),
            R"({"L2DevCtrl_FWCfg":{"HostMAC":"02:10:18:cc:dd:01","NewFWUpgradeState":3}})");
  test::write_file("/tmp/hv1905_FWupgrade", "02:10:18:cc:dd:01 ok\naa:aa:aa:aa:aa:aa ok\n");
  EXPECT_EQ(ext(R"({"L2DevCtrl_FWCfg":{"HostMAC":"02:10:18:cc:dd:01","NewFWUpgradeSuccess":5}})"),
            R"({"L2DevCtrl_FWCfg":{"HostMAC":"02:10:18:cc:dd:01","NewFWUpgradeSuccess":0}})");
  test::write_file("/tmp/hv1905_FWupgrade", "aa:aa:aa:aa:aa:aa ok\n02:10:18:cc:dd:01 ok\n");
  EXPECT_EQ(ext(R"({"L2DevCtrl_FWCfg":{"HostMAC":"02:10:18:cc:dd:01","NewFWUpgradeSuccess":5}})"),
            R"({"L2DevCtrl_FWCfg":{"HostMAC":"02:10:18:cc:dd:01","NewFWUpgradeSuccess":1}})");
  EXPECT_EQ(ext(R"({"WiFiconfigValue":{"HostMAC":"3c:22:fb:44:55:66","RSSI":0}})"),
            R"({"WiFiconfigValue":{"HostMAC":"3c:22:fb:44:55:66","RSSI":-61}})");
}

}  // namespace
}  // namespace pemo
