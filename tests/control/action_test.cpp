// Action nodes through the parser: dispatch, radio values, extender control, WPS.
#include <gtest/gtest.h>

#include "control/extender.h"
#include "firmware/fw_flags.h"
#include "platform/cfg.h"
#include "platform/json.h"
#include "platform/probe_db.h"
#include "request/parser.h"
#include "support/probe.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

class Actions : public testing::Test {
 protected:
  void SetUp() override {
    PEMO_REQUIRE_SANDBOX();
    test::seed_gateway_config();
    test::seed_probe_db(kProbeDbPath);
    ASSERT_EQ(probe_db_open(), 0);
  }
  void TearDown() override { probe_db_close_for_tests(); }
  // Walks {"Device":<object>}; the walked document below "Device", or the status.
  std::string device(const std::string& object, bool set = false) {
    JsonPtr document(json_tokener_parse((R"({"Device":)" + object + "}").c_str()));
    EXPECT_TRUE(document) << object;
    ParseContext context = new_parse_context(set);
    int r = message_parser(document.get(), context);
    if (r < 0) return "<" + std::to_string(r) + ">";
    return json_object_to_json_string_ext(json_object_object_get(document.get(), "Device"),
                                          JSON_C_TO_STRING_PLAIN);
  }
  test::RecordingRunner recorder_;
  ScopedRunner scoped_{recorder_};
};

TEST_F(Actions, ReadOnlyWriteOnlyAndPlaceholderNodes) {
  EXPECT_EQ(device(R"({"WiFi":{"Radio":{"i1":{"Enable":0}}}})", true), "<-22>");
  EXPECT_EQ(device(R"({"Hosts":{"Host":{"i1":{"Active":0}}}})", true), "<-22>");
  EXPECT_EQ(device(R"({"X_Halvo_Ext":{"EndDevCtrl_Blocking":{"HostMAC":""}}})"), "<-27>");
  EXPECT_EQ(device(R"({"X_Halvo_Ext":{"L2DevCtrl_Reboot":{"HostMAC":"\"\""}}})", true), "<-21>");
  EXPECT_EQ(device(R"({"PPP":{"Interface":{"i1":{"Enable":0,"Username":""}}}})"),
            R"({"PPP":{"Interface":{"i1":{"Enable":18,"Username":"18"}}}})");
  EXPECT_EQ(device(R"({"Hosts":{"Host":{"i1":{"Active":0}}}})"), R"({"Hosts":{"Host":{"i1":{"Active":1}}}})");
  for (const std::string& command : recorder_.commands())  // only the WPS watcher stop of "WiFi"
    EXPECT_NE(command.find("wps_conf"), std::string::npos) << command;
}

TEST_F(Actions, RadioValuesByInstance) {
  test::write_file("/tmp/wifi_channel", "ch_24G=1\nch_24G=11 x\nch_5G=149\nnoise\n");
  EXPECT_EQ(device(R"({"WiFi":{"Radio":{"i2":{"Status":"","OperatingFrequencyBand":"","Channel":0,"MaxBitRate":""},)"
                   R"("i1":{"OperatingFrequencyBand":"","Channel":0},"i3":{"Status":"","Channel":7}}}})"),
            R"({"WiFi":{"Radio":{"i2":{"Status":"Up","OperatingFrequencyBand":"5GHz","Channel":149,"MaxBitRate":"3"},)"
            R"("i1":{"OperatingFrequencyBand":"2.4GHz","Channel":11},"i3":{"Status":"2","Channel":0}}}})");
  // Radio.{i} has two "Channel" leaves: first in its object, the member binds the
  // UCI-backed one (always 0); after OperatingFrequencyBand, the action one.
  EXPECT_EQ(device(R"({"WiFi":{"Radio":{"i1":{"Channel":5}}}})"), R"({"WiFi":{"Radio":{"i1":{"Channel":0}}}})");
}

TEST_F(Actions, RebootAndResetUnlessFlashing) {
  EXPECT_EQ(device(R"({"X_Halvo_Ext":{"Reboot":0}})", true), R"({"X_Halvo_Ext":{"Reboot":16}})");
  EXPECT_TRUE(recorder_.commands().empty());
  device(R"({"X_Halvo_Ext":{"Reboot":1,"FactoryReset":1}})", true);
  EXPECT_EQ(recorder_.commands(), (std::vector<std::string>{"reboot", "romreset 1"}));
  fw_flashing = true;
  EXPECT_EQ(device(R"({"X_Halvo_Ext":{"Reboot":1,"FactoryReset":1}})", true).front(), '{');
  fw_flashing = false;
  EXPECT_EQ(recorder_.commands().size(), 2u);
  EXPECT_EQ(device(R"({"X_Halvo_Ext":{"Reboot":5,"FactoryReset":5}})"), R"({"X_Halvo_Ext":{"Reboot":0,"FactoryReset":0}})");
}

TEST_F(Actions, ExtenderCommandsNeedAKnownExtender) {
  test::write_file("/tmp/1905ReturnValue", "00\n");
  EXPECT_EQ(device(R"({"X_Halvo_Ext":{"L2DevCtrl_WiFiOff":{"HostMAC":"02:10:18:cc:dd:01"}}})", true).front(), '{');
  EXPECT_EQ(recorder_.commands(),
            std::vector<std::string>{"/usr/sbin/hv1905App 3 '02:10:18:cc:dd:01' 00:00:00:00:00:00 0x01ff 2"});
  // A host MAC, or text that is no MAC at all, runs nothing.
  for (const char* mac : {"a4:5e:60:11:22:33", "x'; reboot; '", "$(reboot)"}) {
    EXPECT_EQ(device(std::string(R"({"X_Halvo_Ext":{"L2DevCtrl_Reboot":{"HostMAC":")") + mac + R"("}}})", true),
              "<-26>") << mac;
  }
  EXPECT_EQ(recorder_.commands().size(), 1u);
  test::write_file("/tmp/1905ReturnValue", "01\n");
  EXPECT_EQ(device(R"({"X_Halvo_Ext":{"L2DevCtrl_Firstboot":{"HostMAC":"02:10:18:cc:dd:01"}}})", true), "<-26>");
}

TEST_F(Actions, AutoConfigSwitchWritesBothInterfacesOnSuccess) {
  test::write_file("/tmp/1905ReturnValue", "result 00\n");
  device(R"({"X_Halvo_Ext":{"WiFiAutoCfg":{"ControlOption":0}}})", true);
  EXPECT_EQ(recorder_.commands().back(), "/usr/sbin/hv1905App 4 1 '0' '0'");
  std::string value = "wireless.@wifi-iface[4].AP_autoconfig";
  ASSERT_EQ(cfg_get(value), 0);
  EXPECT_EQ(value, "0");
  device(R"({"X_Halvo_Ext":{"WiFiAutoCfg":{"ControlOption":1}}})", true);
  value = "wireless.@wifi-iface[0].AP_autoconfig";
  ASSERT_EQ(cfg_get(value), 0);
  EXPECT_EQ(value, "1");
  test::write_file("/tmp/auto_cfg", "1\n");
  EXPECT_EQ(device(R"({"X_Halvo_Ext":{"WiFiAutoCfg":{"ControlOption":0}}})"),
            R"({"X_Halvo_Ext":{"WiFiAutoCfg":{"ControlOption":1}}})");
}

TEST_F(Actions, ToolThatNeverAnswersIsGivenUp) {
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(dev_Ctrl(kExtenderReboot, "02:10:18:cc:dd:01", std::chrono::milliseconds(300)), -26);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST_F(Actions, AutoConfigByTimeCollectsItsSlots) {
  device(R"({"X_Halvo_Ext":{"WiFiAutoCfgByTime":{"DeviceMode":1,"ControlOption":2,"Time":30}}})", true);
  device(R"({"X_Halvo_Ext":{"WiFiAutoCfgByTime":{"Time":5}}})", true);
  EXPECT_EQ(recorder_.commands(), (std::vector<std::string>{"/usr/sbin/hv1905App 15 '1' '2' '2' '30'",
                                                            "/usr/sbin/hv1905App 15 '5'"}));
  EXPECT_EQ(device(R"({"X_Halvo_Ext":{"WiFiAutoCfgByTime":{"Time":1234}}})", true), "<-21>");
}

TEST_F(Actions, WpsThroughTheTree) {
  device(R"({"X_Halvo_Ext":{"WPS":{"Action":3}}})", true);
  EXPECT_EQ(recorder_.commands()[1], "/bin/halvo_WPS_ctrl WPS_HW");
  test::write_file("/tmp/pemo_agent_wps", "");
  EXPECT_EQ(device(R"({"X_Halvo_Ext":{"WPS":{"Action":0,"Status":0}}})"),
            R"({"X_Halvo_Ext":{"WPS":{"Action":1,"Status":1}}})");
}

TEST_F(Actions, WifiSettingFlag) {
  device(R"({"X_Halvo_Ext":{"WiFiAutoCfg":{"WIFIConfigFlag":1}}})", true);
  EXPECT_EQ(recorder_.commands().back(), "sh /etc/pemo-agent/wifi_setting_flag.sh");
  test::write_file("/etc/pemo-agent/wifi_setting_flag", "");
  device(R"({"X_Halvo_Ext":{"WiFiAutoCfg":{"WIFIConfigFlag":0}}})", true);
  EXPECT_FALSE(test::file_exists("/etc/pemo-agent/wifi_setting_flag"));
  EXPECT_EQ(device(R"({"X_Halvo_Ext":{"WiFiAutoCfg":{"WIFIConfigFlag":2}}})", true), "<-26>");
}

}  // namespace
}  // namespace pemo
