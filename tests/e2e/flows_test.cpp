// The firmware update against the simulated gateway: what only real processes,
// files and timing can show (the examples' transcripts show the other flows).
#include <gtest/gtest.h>

#include <algorithm>

#include "support/gateway.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

// The check, the download, the image check and the hand-off to the flash script,
// as real processes run them; a reboot asked for meanwhile is not done.
TEST(FirmwareFlow, CheckDownloadAndHandOff) {
  test::SimGateway gateway;
  ASSERT_TRUE(gateway.start());
  const auto ota = [](const char* member) {
    return std::string(R"({"Device":{"DeviceInfo":{"X_Halvo_SoftwareUpdateOTA":{)") + member + "}}}}";
  };
  const auto state = [&] { return gateway.get(ota(R"("FWUpgradeState":0)")); };
  const auto called = [&](std::string_view line) { return std::ranges::count(gateway.calls(), line) > 0; };
  gateway.get(ota(R"("CheckSoftwareVersion":"")"));  // as examples/firmware.batch shows
  EXPECT_NE(state().find(R"("FWUpgradeState": 1)"), std::string::npos);
  gateway.set(ota(R"("UpdateSoftware":"1")"));
  EXPECT_NE(state().find(R"("FWUpgradeState": 2)"), std::string::npos);
  ASSERT_TRUE(test::eventually([&] { return state().find(R"("FWUpgradeState": 4)") != std::string::npos; }));
  test::eventually([&] { return called("do_fw_upgrade.sh"); });
  for (const char* call :
       {"get_online_fw http://fw.isp.example/HG-2400-1.0.13.bin", "fw_upgrade fw_check 01ff", "do_fw_upgrade.sh"})
    EXPECT_TRUE(called(call)) << call;
  gateway.set(R"({"Device":{"X_Halvo_Ext":{"Reboot":1}}})");
  EXPECT_FALSE(called("reboot"));
}

}  // namespace
}  // namespace pemo
