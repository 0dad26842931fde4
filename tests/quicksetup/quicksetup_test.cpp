// Quick-setup status values and WAN type writes.
#include "support/handler.h"

namespace pemo {
namespace {

class QuickSetup : public test::HandlerTest {
 protected:
  static std::string tovi(const std::string& object, bool set = false) {
    return test::below({"X_Halvo_Ext", "Tovi123"}, object, set);
  }
};

TEST_F(QuickSetup, ConnectionStatusValues) {
  EXPECT_EQ(tovi(R"({"WanHWConnection":5,"WiFiHWButton":5,"WanInternetConnection":5,"WanAction":5})"),
            R"({"WanHWConnection":1,"WiFiHWButton":0,"WanInternetConnection":0,"WanAction":0})");
  test::write_file("/tmp/wanHWConnection", "Port 4: off-link\n");  // what the query leaves when unplugged
  test::write_file("/tmp/wlan_on", "1\n");
  test::write_file("/tmp/connect_internet", "yes\n");
  EXPECT_EQ(tovi(R"({"WanHWConnection":5,"WiFiHWButton":5,"WanInternetConnection":5})"),
            R"({"WanHWConnection":0,"WiFiHWButton":1,"WanInternetConnection":1})");
  EXPECT_FALSE(test::file_exists("/tmp/wanHWConnection"));
  EXPECT_EQ(runner_.commands().back(), "/sbin/uci_apply 'web-redirect'");
}

// WiFiAction 1 stops the three WPS watchers; another value stops none.
TEST_F(QuickSetup, WifiActionStopsTheWpsWatchers) {
  tovi(R"({"WiFiAction":0})", true);  // stops none: only the three below ran
  tovi(R"({"WiFiAction":1})", true);
  std::vector<std::string> stops;
  for (const char* watcher : {"1 wps_conf_24G", "1 wps_conf_5G", "5 wps_conf_5G"})
    stops.push_back(std::string("kill $(ps | grep 'watch -tn ") + watcher + "' | grep 'grep' -v | awk '{print $1}')");
  EXPECT_EQ(runner_.commands(), stops);
}

TEST_F(QuickSetup, CredentialsAreStoredExactly) {
  const std::string account = R"(user'; reboot; $(id) `id` \"q\")";
  const std::string password = "p@ss word|&&;\\n";
  ASSERT_EQ(cfg_set("network.wan.demand", "60"), 0);  // an on-demand link, which an account's defaults end
  tovi(R"({"Wan":{"PPPoE":{"Account":")" + account + R"(","Password":")" + password + R"("}}})", true);
  EXPECT_EQ(option("network.wan.proto"), "pppoe");
  EXPECT_EQ(option("network.wan.mtu"), "1492");
  EXPECT_EQ(option("network.wan.demand"), "<-13>");  // set to nothing: the library deletes it
  EXPECT_EQ(option("network.wan.dns1"), "ISP,");
  EXPECT_EQ(option("network.wan.username"), "user'; reboot; $(id) `id` \"q\"");
  EXPECT_EQ(option("network.wan.password"), "p@ss word|&&;\n");  // the JSON escape is a line feed
  // The credentials reach no command line: each member runs only the change's marks.
  EXPECT_EQ(runner_.commands(), (std::vector<std::string>{"echo 1 > /var/update_dns_lock", "echo 'dhcp' > /tmp/old_wan_proto",
                                                           "echo 1 > /var/update_dns_lock", "echo 'pppoe' > /tmp/old_wan_proto"}));
}

TEST_F(QuickSetup, ReadsOfWanMembersWriteNothing) {
  const std::string before = test::read_file("/etc/config/network");
  EXPECT_EQ(tovi(R"({"Wan":{"WanType":"DHCP","PPPoE":{"Account":"a"},"Static":{"Dns":"x"}}})"),
            R"({"Wan":{"WanType":"","PPPoE":{"Account":""},"Static":{"Dns":""}}})");
  EXPECT_EQ(test::read_file("/etc/config/network"), before);
  EXPECT_EQ(option("system.main.Tovi123"), "0");
}

}  // namespace
}  // namespace pemo
