// Gateway firmware update and the extender firmware list, against a platform
// whose tools answer as a test scenario says.
#include "firmware/firmware.h"

#include <thread>

#include "support/handler.h"

namespace pemo {
namespace {

using namespace std::chrono_literals;
using test::write_file;

const std::string kOta = R"({"DeviceInfo":{"X_Halvo_SoftwareUpdateOTA":)";
const std::string kFail = kOta + R"({"FWUpgradeState":0,"UpdateSoftwareStatus":"Fail"}}})";

class Firmware : public test::HandlerTest {
 protected:
  void SetUp() override {
    HandlerTest::SetUp();
    if (HasFatalFailure()) return;
    write_file("/tmp/firmware_version", "1.2.2\n");
    write_file("/tmp/hvfw_info", "Model: X\nFW version: 1.2.3\nRelease date: 2026-11-01\n");
    write_file("/tmp/fw_online_info", "model x\nhttp://fw.example/x-1.2.3.bin\n");
    write_file("/tmp/fw_mtd", "ff01\n");
    runner_.run_for_real("cat ", "cat ");  // reading files back is no platform tool
    runner_.answer("get_online_info", {0, false, {}}, [] { write_file("/tmp/get_online_info", "success\n"); });
  }
  void TearDown() override {
    fw_upgrade_running = false;
    fw_flashing = false;
    HandlerTest::TearDown();
  }
  void download(const char* log, ShellResult check = {0, false, {}}) {
    runner_.answer("get_online_fw", {0, false, {}}, [] {
      write_file("/tmp/get_online_fw", "success\n");
      write_file("/tmp/rootfs", "image");
    });
    runner_.answer("fw_check", check, [log] { write_file("/tmp/logfile", log); });
  }
  // Starts the worker and waits until it leaves the running state or hands off.
  void upgrade() {
    ASSERT_EQ(fw_upgrade_start(), 0);
    test::eventually([this] { return !fw_upgrade_running || runner_.ran("do_fw_upgrade.sh &"); });
  }
};

// What the versions read when their sources are missing or the online query failed.
TEST_F(Firmware, VersionsWithoutTheirSources) {
  unlink("/tmp/hvfw_info");
  check({{kOta + R"({"HasNewSoftware":5}}})", "<-23>"}});
  write_file("/tmp/hvfw_info", "FW version: 1.2.3\n");
  unlink("/tmp/firmware_version");
  check({{kOta + R"({"HasNewSoftware":5}}})", "<-18>"}, {R"({"DeviceInfo":{"SoftwareVersion":""}})", "<-18>"}});
  runner_.answer("get_online_info", {0, false, {}}, [] { write_file("/tmp/get_online_info", "error\n"); });
  check({{kOta + R"({"CheckSoftwareVersion":""}}})", "<-23>"}});
  // A query cut at its bound counts as failed, whatever an earlier run left.
  runner_.answer("get_online_info", {-1, true, {}}, [] { write_file("/tmp/get_online_info", "success\n"); });
  check({{kOta + R"({"CheckSoftwareVersion":""}}})", "<-23>"}});
}

// A refused image, and a check that did not end by itself (cut at its bound,
// killed, or never run) and so has no verdict: the image is removed, never flashed.
TEST_F(Firmware, ImageRefusedOrUncheckedFailsAndAllowsRebootAgain) {
  write_file("/tmp/fw_mtd", "0001\n");
  download("header\nWrong image!\n");
  upgrade();
  EXPECT_TRUE(runner_.ran("dd if=/dev/mtdblock3 of=/tmp/mtd3 bs=2 count=1"));
  EXPECT_TRUE(runner_.ran("fw_upgrade fw_check $(cat /tmp/fw_mtd) 1> /tmp/logfile 2> /dev/null"));
  for (const ShellResult& unfinished : {ShellResult{0, false, {}}, ShellResult{-1, true, {}},
                                        ShellResult{128 + 9, false, {}}, ShellResult{127, false, {}}}) {
    if (unfinished.status != 0) {
      download("checking block 1 of 90\n", unfinished);
      unlink("/tmp/fw_upgrade_status");
      upgrade();
    }
    EXPECT_FALSE(fw_upgrade_running || fw_flashing) << unfinished.status;
    EXPECT_FALSE(test::file_exists("/tmp/rootfs"));
    check({{kOta + R"({"FWUpgradeState":9,"UpdateSoftwareStatus":""}}})", kFail}});
  }
  EXPECT_FALSE(runner_.ran("do_fw_upgrade.sh &"));
  // A check that ends by itself with a failing status still lets the log decide:
  // the image is handed to the flash script, and the worker stays the only one.
  download("check ok\n", {1, false, {}});
  upgrade();
  EXPECT_TRUE(runner_.ran("do_fw_upgrade.sh &"));
  check({{kOta + R"({"FWUpgradeState":0}}})", kOta + R"({"FWUpgradeState":4}}})"}});
  EXPECT_TRUE(fw_upgrade_running && fw_flashing);
  EXPECT_EQ(fw_upgrade_start(), -26) << "a second worker is refused";
}

TEST_F(Firmware, DownloadThatFailsOrNeverFinishesIsGivenUp) {
  write_file("/tmp/rootfs", "partial");
  upgrade();
  EXPECT_FALSE(fw_upgrade_running);
  EXPECT_TRUE(runner_.ran("killall -9 get_online_fw") && runner_.ran("killall -9 wget"));
  EXPECT_EQ(test::read_file("/tmp/get_online_fw"), "fail\n");
  EXPECT_FALSE(test::file_exists("/tmp/rootfs"));
  EXPECT_EQ(test::read_file("/tmp/fw_status"), "0\n");
  const std::size_t kills = runner_.commands().size();
  runner_.answer("get_online_fw", {0, false, {}}, [] { write_file("/tmp/get_online_fw", "fail\n"); });
  unlink("/tmp/fw_status");
  const auto started = clock_.now();
  upgrade();
  EXPECT_EQ(test::read_file("/tmp/fw_status"), "0\n");
  EXPECT_LE(clock_.now() - started, 2s) << "a failed download is given up at the first poll";
  for (const std::string& command : runner_.commands(kills)) EXPECT_EQ(command.find("killall"), std::string::npos);
  // Without the online information there is no image: nothing is fetched or checked.
  const std::size_t before = runner_.commands().size();
  unlink("/tmp/fw_online_info");
  upgrade();
  EXPECT_FALSE(fw_upgrade_running);
  EXPECT_EQ(runner_.commands(before), std::vector<std::string>{});
}

// Listed: extenders with new firmware that are up, or that at most the last two
// probes missed.
TEST_F(Firmware, ExtenderListHoldsExtendersWithNewFirmware) {
  test::sql(kProbeDbPath, R"(INSERT INTO Device (DevType, ALMac, HostName, Alive, nNotAlive, ExtraInfo) VALUES)"
                          R"( ('L2Device','aa:00:00:00:00:03',NULL,1,0,'{"Newfirmware":1}'),)"
                          R"( ('L2Device','aa:00:00:00:00:04','away',0,2,'{"Newfirmware":1}'),)"
                          R"( ('L2Device','aa:00:00:00:00:05','gone',0,3,'{"Newfirmware":1}');)"
                          R"(UPDATE Device SET ExtraInfo='{"Newfirmware":0,"NewfirmwareUpgradeState":3}' WHERE ALMac='02:10:18:cc:ee:01';)");
  test::write_file("/tmp/hv1905_FWupgrade", "02:10:18:cc:dd:01 ok\naa:aa:aa:aa:aa:aa ok\n");
  const std::string fw = R"({"X_Halvo_Ext":{"L2DevCtrl_FWCfg":{"HostMAC":"02:10:18:cc:ee:01",)";
  check({{R"({"X_Halvo_Ext":{"FWNumberOfEntries":0,"FWUpgrade":{"i1":{"ModelName":"","MACAddress":"","Newfirmware":0,)"
          R"("NewFWUpgradeVersion":"","Newfirmwaredate":""},"i2":{"ModelName":"x","NewFWUpgradeVersion":"x",)"
          R"("NewFWUpgradeState":5},"i3":{"ModelName":"y"}}}})",
          R"({"X_Halvo_Ext":{"FWNumberOfEntries":3,"FWUpgrade":{"i1":{"ModelName":"LivingRoom-Ext",)"
          R"("MACAddress":"02:10:18:cc:dd:01","Newfirmware":1,"NewFWUpgradeVersion":"1.0.12","Newfirmwaredate":"2026-10-01"},)"
          R"("i2":{"ModelName":"","NewFWUpgradeVersion":"","NewFWUpgradeState":0},"i3":{"ModelName":"away"}}}})"},
         {fw + R"("NewFWUpgradeState":0}}})", fw + R"("NewFWUpgradeState":3}}})"},
         // Success is the MAC on the last line of the tool's report only.
         {fw + R"("NewFWUpgradeSuccess":5}}})", fw + R"("NewFWUpgradeSuccess":0}}})"}});
  test::write_file("/tmp/hv1905_FWupgrade", "aa:aa:aa:aa:aa:aa ok\n02:10:18:cc:ee:01 ok\n");
  check({{fw + R"("NewFWUpgradeSuccess":5}}})", fw + R"("NewFWUpgradeSuccess":1}}})"}});
}

}  // namespace
}  // namespace pemo
