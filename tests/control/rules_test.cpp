// Parental rules, host blocking and approval lists, with the uci command line run
// for real on the sandbox's /etc/config and every command recorded.
#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

#include "platform/fd.h"
#include "support/handler.h"

namespace pemo {
namespace {

class Rules : public test::HandlerTest {
 protected:
  void SetUp() override {
    HandlerTest::SetUp();
    if (HasFatalFailure()) return;
    runner_.run_for_real("uci ", PEMO_GATEWAY_UCI_PATH " ");
    walk(R"({"Hosts":{"HostNumberOfEntries":0}})", false);  // this connection's host snapshot
  }
  static std::string walk(const std::string& object, bool set) { return test::device(object, set); }
  bool ran(const std::string& command) const { return runner_.ran(command); }
};


TEST_F(Rules, UnblockingMarksEveryRuleOfTheMacOnly) {
  ASSERT_EQ(cfg_set("firewall.general.NextRulePos", "1"), 0);
  walk(R"({"X_Halvo_Ext":{"EndDevCtrl_Blocking":{"HostMAC":"a4:5e:60:11:22:33"}}})", true);
  walk(R"({"X_Halvo_Ext":{"EndDevCtrl_Blocking":{"HostMAC":"3c:22:fb:44:55:66"}}})", true);
  walk(R"({"X_Halvo_Ext":{"EndDevCtrl_Blocking":{"HostMAC":"a4:5e:60:11:22:33"}}})", true);
  ASSERT_EQ(cfg_set("firewall.rule9.name", "user_rule"), 0);  // a rule not ours
  test::write_file("/tmp/blocking", "a4:5e:60:11:22:33\n");
  walk(R"({"X_Halvo_Ext":{"EndDevCtrl_UnBlocking":{"HostMAC":"a4:5e:60:11:22:33"}}})", true);
  for (int n : {1, 2, 3, 7, 8}) EXPECT_EQ(option("firewall.rule" + std::to_string(n) + ".delete"), "1") << n;
  for (int n : {4, 5, 6, 9}) EXPECT_EQ(option("firewall.rule" + std::to_string(n) + ".delete"), "0") << n;
  EXPECT_EQ(test::read_file("/tmp/blocking"), "0");
}

// A count or position that cannot be read is no 0: rules written there would
// replace others at the next commit. The request answers the read's status, and
// nothing is run or written; a host's blocking state read from it is that status too.
TEST_F(Rules, AnUnreadablePackageStopsTheWrite) {
  for (const char* package : {"firewall", "parental"}) {
    const std::string path = std::string("/etc/config/") + package;
    const std::string broken = test::read_file(path) + "\toption 'unterminated\n";
    test::write_file(path, broken);
  }
  const std::size_t before = runner_.commands().size();
  check({{R"({"X_Halvo_Ext":{"EndDevCtrl_Blocking":{"HostMAC":"a4:5e:60:11:22:33"}}})", "<-12>", true},
         {R"({"X_Halvo_Ext":{"EndDevCtrl_UnBlocking":{"HostMAC":"a4:5e:60:11:22:33"}}})", "<-12>", true},
         {R"({"Hosts":{"Host":{"i4":{"X_Halvo_AddPcpRule":"1"}}}})", "<-12>", true},
         {R"({"X_Halvo_Ext":{"ParentalControl":{"i1":{"Enable":"1"}}}})", "<-12>", true},
         {R"({"Hosts":{"Host":{"i4":{"X_Halvo_Blocking":""}}}})", "<-12>", false}});
  EXPECT_EQ(runner_.commands(before), std::vector<std::string>{});
  EXPECT_EQ(test::read_file("/tmp/.uci/firewall") + test::read_file("/tmp/.uci/parental"), "");
}

// examples/extender.batch shows the list, its database row and the switch; here
// a line the agent did not write, and the tool's answers.
TEST_F(Rules, ApprovalEntriesAndTheSwitchsAnswers) {
  const auto approve = [](const std::string& member) {
    return walk(R"({"X_Halvo_Ext":{"WiFiAutoCfgApproveData":{"i1":{)" + member + "}}}}", true);
  };
  // A line of another length is left as it is, and the set is no failure.
  test::write_file("/etc/pemo-agent/Approvelist", "aa:bb:cc:dd:ee:02 0 kept\n");
  EXPECT_EQ(approve(R"("MACAddress":"aa:bb:cc:dd:ee:02","Option":1)").front(), '{');
  EXPECT_EQ(test::read_file("/etc/pemo-agent/Approvelist"), "aa:bb:cc:dd:ee:02 0 kept\n");
  // The tool's answer is the first line of its result file, an empty line
  // converting to 0 as a decimal read does; no line at all fails.
  const auto enable = [](int value) {
    return walk(R"({"X_Halvo_Ext":{"WiFiAutoCfgApprove":{"Enable":)" + std::to_string(value) + "}}}", true);
  };
  for (const auto& [answer, reply] : {std::pair{"0\n", "{"}, std::pair{"\n", "{"}, std::pair{"", "<-26>"}}) {
    test::write_file("/tmp/1905ReturnValue", answer);
    EXPECT_EQ(enable(1).substr(0, std::string_view(reply).size()), reply) << answer;
  }
  test::write_file("/tmp/1905ReturnValue", "1\n");
  EXPECT_EQ(enable(0), "<-26>");
  EXPECT_EQ(option("wireless.wifi.ApproveFlag"), "0");
}

// The platform's tool reads the lists: one is replaced whole or not at all, and
// an Option without its MACAddress changes nothing.
TEST_F(Rules, ApprovalListsAreReplacedWholeOrNotAtAll) {
  const std::string path = "/etc/pemo-agent/Approvelist", list = "02:10:18:cc:ee:01 1\naa:bb:cc:dd:ee:02 0\n";
  const std::string row = "SELECT Authorized FROM DevFunc WHERE ALMac='02:10:18:cc:ee:01';";
  const std::string authorized = cell(row);
  const auto approve = [](const std::string& member) {
    return walk(R"({"X_Halvo_Ext":{"WiFiAutoCfgApproveData":{"i1":{)" + member + "}}}}", true);
  };
  test::write_file(path, list);
  EXPECT_EQ(approve(R"("Option":1)"), "<-21>");
  EXPECT_EQ(approve(R"("Option":2)"), "<-21>");
  EXPECT_EQ(test::read_file(path) + cell(row), list + authorized);
  // A full file system: a tiny one over the list's folder, filled to the last byte.
  ASSERT_EQ(mount("tmpfs", "/etc/pemo-agent", "tmpfs", 0, "size=4k"), 0);
  test::write_file(path, list);
  {
    UniqueFd filler(open("/etc/pemo-agent/filler", O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    const std::string page(512, 'f');
    while (write(filler.get(), page.data(), page.size()) > 0) {
    }
  }
  const std::string full_list = approve(R"("MACAddress":"02:10:18:cc:ee:09","Option":1)") + "," +
                                approve(R"("MACAddress":"aa:bb:cc:dd:ee:02","Option":2)") + "," +
                                approve(R"("MACAddress":"02:10:18:cc:ee:01","Option":0)");
  const std::string after = test::read_file(path) + cell(row);
  umount2("/etc/pemo-agent", MNT_DETACH);
  EXPECT_EQ(full_list, "<-18>,<-18>,<-18>");
  EXPECT_EQ(after, list + authorized);
}

}  // namespace
}  // namespace pemo
