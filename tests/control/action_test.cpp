// Action nodes through the parser: dispatch, radio values, extender control, WPS.
#include "contract/mesh_tool.h"
#include "control/extender.h"
#include "firmware/fw_flags.h"
#include "support/handler.h"

namespace pemo {
namespace {

using Actions = test::HandlerTest;
using test::ext;

// Radio.{i} has two "Channel" leaves: first in its object, the member binds the
// UCI-backed one (always 0); after OperatingFrequencyBand, the action one.
TEST_F(Actions, RadioChannelLeaves) {
  test::write_file("/tmp/wifi_channel", "ch_24G=1\nch_24G=11 x\nch_5G=149\nnoise\n");
  EXPECT_EQ(test::device(R"({"WiFi":{"Radio":{"i1":{"Channel":5}}}})"), R"({"WiFi":{"Radio":{"i1":{"Channel":0}}}})");
  EXPECT_EQ(test::device(R"({"WiFi":{"Radio":{"i2":{"OperatingFrequencyBand":"","Channel":0},)"
                         R"("i1":{"OperatingFrequencyBand":"","Channel":0}}}})"),
            R"({"WiFi":{"Radio":{"i2":{"OperatingFrequencyBand":"5GHz","Channel":149},)"
            R"("i1":{"OperatingFrequencyBand":"2.4GHz","Channel":11}}}})");
}

TEST_F(Actions, RebootAndResetUnlessFlashing) {
  EXPECT_EQ(ext(R"("Reboot":5,"FactoryReset":5)"), R"({"Reboot":0,"FactoryReset":0})");
  ext(R"("Reboot":0)", true);
  fw_flashing = true;
  ext(R"("Reboot":1,"FactoryReset":1)", true);
  fw_flashing = false;
  EXPECT_TRUE(runner_.commands().empty());
  EXPECT_EQ(ext(R"("Reboot":1,"FactoryReset":1)", true), R"({"Reboot":16,"FactoryReset":17})");
  EXPECT_EQ(runner_.commands(), (std::vector<std::string>{"reboot", "romreset 1"}));
}

// A tool that answers failure, or never answers, fails the command.
TEST_F(Actions, ExtenderToolFailureIsAnError) {
  test::write_file("/tmp/1905ReturnValue", "01\n");
  EXPECT_EQ(ext(R"("L2DevCtrl_Firstboot":{"HostMAC":"02:10:18:cc:dd:01"})", true), "<-26>");
  unlink(kMeshToolAnswer);
  const auto start = clock_.now();
  EXPECT_EQ(dev_Ctrl(kExtenderReboot, "02:10:18:cc:dd:01", std::chrono::seconds(10)), -26);
  EXPECT_EQ(clock_.now() - start, std::chrono::seconds(11)) << "the second before the answer, and the wait";
}

// The push-button window is two minutes: the tool is waited for past it, and the
// "started" marker is written only when it returned by itself.
TEST_F(Actions, WpsStartWaitsOutTheWindowAndMarksOnlyAHandOver) {
  const std::vector<std::string> handed{"rm /tmp/pemo_agent_wps", "/bin/halvo_WPS_ctrl WPS5G_GUI",
                                        "touch /tmp/pemo_agent_wps"};
  EXPECT_EQ(ext(R"("WPS":{"Action":2})", true), R"({"WPS":{"Action":2}})");
  EXPECT_EQ(runner_.commands(), handed);
  EXPECT_GT(runner_.timeout_of("halvo_WPS_ctrl"), std::chrono::seconds(120));
  runner_.answer("halvo_WPS_ctrl", ShellResult{-1, true, {}});
  EXPECT_EQ(ext(R"("WPS":{"Action":2})", true), "<-26>");
  EXPECT_EQ(runner_.commands(3), std::vector<std::string>(handed.begin(), handed.end() - 1));
  EXPECT_EQ(ext(R"("WPS":{"Action":0,"Status":7})", true), R"({"WPS":{"Action":0,"Status":7}})");
  EXPECT_EQ(runner_.commands().size(), 5u);
}

}  // namespace
}  // namespace pemo
