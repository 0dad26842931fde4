// Device control flows against the simulated gateway.
#include <gtest/gtest.h>

#include "support/gateway.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

class ControlFlow : public testing::Test {
 protected:
  void SetUp() override {
    PEMO_REQUIRE_SANDBOX();
    ASSERT_TRUE(gateway_.start());
  }
  test::SimGateway gateway_;
};

TEST_F(ControlFlow, BlockAndUnblockAHost) {
  EXPECT_NE(gateway_.set(R"({"Device":{"X_Halvo_Ext":{"EndDevCtrl_Blocking":{"HostMAC":"a4:5e:60:11:22:33"}}}})")
                .find("HostMAC"), std::string::npos);
  const std::string show = gateway_.run("uci show firewall");
  EXPECT_NE(show.find("firewall.rule1.protocol='TCP'"), std::string::npos) << show;
  EXPECT_NE(show.find("firewall.rule3.protocol='ICMP'"), std::string::npos);
  EXPECT_EQ(gateway_.run("uci changes firewall"), "") << "the rules are committed";
  EXPECT_TRUE(gateway_.called("uci_apply firewall"));

  const std::string state = R"({"Device":{"Hosts":{"HostNumberOfEntries":0,"Host":{"i4":{"X_Halvo_Blocking":""}}}}})";
  EXPECT_NE(gateway_.get(state).find(R"("X_Halvo_Blocking": "Blocking")"), std::string::npos);
  gateway_.set(R"({"Device":{"X_Halvo_Ext":{"EndDevCtrl_UnBlocking":{"HostMAC":"a4:5e:60:11:22:33"}}}})");
  EXPECT_EQ(gateway_.run("uci get firewall.rule2.delete"), "1\n");
}

TEST_F(ControlFlow, ParentalRuleAddedScheduledAndEnabled) {
  // The snapshot and the add travel on one connection, as the application sends them.
  client::Session session = gateway_.connect();
  client::Reply reply;
  std::string error;
  ASSERT_TRUE(session.exchange(kTypeParamGet, R"({"Device":{"Hosts":{"HostNumberOfEntries":0}}})", "5927", reply, error));
  ASSERT_TRUE(session.exchange(kTypeParamSet, R"({"Device":{"Hosts":{"Host":{"i5":{"X_Halvo_AddPcpRule":"1"}}}}})",
                               "5927", reply, error));
  EXPECT_EQ(reply.header.type, kTypeParamSetReply);
  EXPECT_GT(reply.status(), 0) << reply.status();
  const std::string schedule =
      R"({"Device":{"X_Halvo_Ext":{"ParentalControl":{"i1":{"PcpName":"Kid's phone","Enable":"1",)"
      R"("Scheduling":{"Days":"Mon,Tue","TimeStartHour":"20","TimeStartMin":"00","TimeStopHour":"23","TimeStopMin":"30"}}}}}})";
  ASSERT_TRUE(session.exchange(kTypeParamSet, schedule, "5927", reply, error));
  EXPECT_GT(reply.status(), 0) << reply.status();
  const std::string read =
      R"({"Device":{"X_Halvo_Ext":{"ParentalControlNumberOfEntries":0,"ParentalControl":{"i1":{"HostMAC":"","PcpName":"","Enable":"",)"
      R"("Scheduling":{"Days":"","TimeStartHour":"","TimeStopMin":""}}}}}})";
  EXPECT_EQ(gateway_.get(read),
            R"({ "Device": { "X_Halvo_Ext": { "ParentalControlNumberOfEntries": 1, "ParentalControl": { "i1": { )"
            R"("HostMAC": "3c:22:fb:44:55:66", "PcpName": "Kid's phone", "Enable": "1", "Scheduling": { )"
            R"("Days": "Mon,Tue", "TimeStartHour": "20", "TimeStopMin": "30" } } } } } })");
  EXPECT_TRUE(gateway_.called("uci_apply parental"));
}

TEST_F(ControlFlow, ExtenderRebootAndGatewayRebootStayInTheGateway) {
  EXPECT_NE(gateway_.set(R"({"Device":{"X_Halvo_Ext":{"L2DevCtrl_Reboot":{"HostMAC":"02:10:18:cc:dd:01"}}}})")
                .find("HostMAC"), std::string::npos);
  EXPECT_TRUE(gateway_.called("hv1905App 2 02:10:18:cc:dd:01"));
  gateway_.knob("hv1905", "fail");
  EXPECT_EQ(gateway_.set(R"({"Device":{"X_Halvo_Ext":{"L2DevCtrl_WiFiOff":{"HostMAC":"02:10:18:cc:dd:01"}}}})"),
            "status -26");
  gateway_.set(R"({"Device":{"X_Halvo_Ext":{"Reboot":1}}})");
  EXPECT_TRUE(gateway_.called("reboot"));
}

}  // namespace
}  // namespace pemo
