// The firmware update against the simulated gateway: what only real processes,
// files and timing can show (the examples' transcripts show the other flows).
#include <gtest/gtest.h>

#include <thread>

#include "support/gateway.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

using namespace std::chrono_literals;

const std::string kOta = R"({"Device":{"DeviceInfo":{"X_Halvo_SoftwareUpdateOTA":{)";
const std::string kOtaEnd = "}}}}";

class Flow : public testing::Test {
 protected:
  void SetUp() override {
    PEMO_REQUIRE_SANDBOX();
    ASSERT_TRUE(gateway_.start());
  }
  std::string state() { return gateway_.get(kOta + R"("FWUpgradeState":0)" + kOtaEnd); }
  bool wait_for_state(const std::string& expected) {
    return test::eventually([&] { return state().find(R"("FWUpgradeState": )" + expected) != std::string::npos; });
  }
  test::SimGateway gateway_;
};
using FirmwareFlow = Flow;

TEST_F(FirmwareFlow, CheckDownloadAndHandOff) {
  EXPECT_EQ(gateway_.get(kOta + R"("CheckSoftwareVersion":"","NewSoftwareVersion":"","Newfirmwaredate":"")" + kOtaEnd),
            R"({ "Device": { "DeviceInfo": { "X_Halvo_SoftwareUpdateOTA": { "CheckSoftwareVersion": "1", )"
            R"("NewSoftwareVersion": "1.0.13", "Newfirmwaredate": "2026-11-01" } } } })");
  EXPECT_NE(state().find(R"("FWUpgradeState": 1)"), std::string::npos);
  gateway_.set(kOta + R"("UpdateSoftware":"1")" + kOtaEnd);
  EXPECT_NE(state().find(R"("FWUpgradeState": 2)"), std::string::npos);
  ASSERT_TRUE(wait_for_state("4"));
  test::eventually([&] { return gateway_.called("do_fw_upgrade.sh"); });
  for (const char* call :
       {"get_online_fw http://fw.isp.example/HG-2400-1.0.13.bin", "fw_upgrade fw_check 01ff", "do_fw_upgrade.sh"})
    EXPECT_TRUE(gateway_.called(call)) << call;
  // While flashing, the gateway is not rebooted underneath the flash script.
  gateway_.set(R"({"Device":{"X_Halvo_Ext":{"Reboot":1}}})");
  EXPECT_FALSE(gateway_.called("reboot"));
}

TEST_F(FirmwareFlow, SessionsKeepTheCachedPasswordDuringAnUpgrade) {
  gateway_.knob("fw_download", "hang");
  gateway_.get(kOta + R"("CheckSoftwareVersion":"")" + kOtaEnd);
  gateway_.set(kOta + R"("UpdateSoftware":"1")" + kOtaEnd);
  gateway_.run("uci set system.main.pwd=changed && uci commit system");
  EXPECT_NE(state().find(R"("FWUpgradeState": 2)"), std::string::npos) << "keyed with the cached 5927";
}

}  // namespace
}  // namespace pemo
