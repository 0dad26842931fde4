// The agent's UCI operations on /etc/config and /tmp/.uci (inside the sandbox).
#include "platform/cfg.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <atomic>
#include <thread>
#include <tuple>

#include "support/sandbox.h"

namespace pemo {
namespace {

using test::read_file;
using test::write_file;

class Cfg : public testing::Test {
 protected:
  void SetUp() override {
    test::seed_system_package("5927");
    write_file("/etc/config/firewall",
               "config general 'general'\n\toption NextRulePos '1'\n\toption rules_count '0'\n");
  }
  static int uci(const std::string& arguments) {
    return shell_run(std::string(PEMO_UCI_PATH) + " " + arguments);
  }
  // A read's status and what it left in the buffer: "0 5927", "-13 ".
  static std::string get(const std::string& path, std::size_t capacity = kTextCapacity) {
    std::string buffer = path;
    const int status = cfg_get(buffer, capacity);
    return std::to_string(status) + " " + buffer;
  }
};

TEST_F(Cfg, GetTellsMissingPackageFromMissingOption) {
  EXPECT_EQ(get("system.main.pwd"), "0 5927");
  EXPECT_EQ(get("nosuch.main.pwd"), std::to_string(kCfgPackageNotFound) + " ");
  EXPECT_EQ(get("system/x.main.pwd"), std::to_string(kCfgPackageNotFound) + " ");
  EXPECT_EQ(get("system.main.nosuch"), std::to_string(kCfgNotFound) + " ");
  EXPECT_EQ(get("system.main"), "0 system.main");  // names no option: left as it was
}

TEST_F(Cfg, EmptyValueAndValuesThatDoNotFit) {
  // As the platform's library: setting nothing deletes; a list of one empty item
  // is how a file holds an empty value.
  ASSERT_EQ(cfg_set("system.main.hostname", ""), 0);
  EXPECT_EQ(get("system.main.hostname"), std::to_string(kCfgNotFound) + " ");
  write_file("/etc/config/system", read_file("/etc/config/system") + "\tlist note ''\n");
  EXPECT_EQ(get("system.main.note"), "0 ");
  std::string buffer;
  ASSERT_EQ(cfg_set("system.main.pwd", std::string(31, 'k')), 0);
  EXPECT_EQ(get_device_pwd(buffer), 0);
  EXPECT_EQ(buffer, std::string(31, 'k'));
  ASSERT_EQ(cfg_set("system.main.pwd", std::string(32, 'k')), 0);
  EXPECT_EQ(get_device_pwd(buffer), kCfgTooLong);
  EXPECT_EQ(buffer, "");
  EXPECT_EQ(get("system.main.pwd", 128), "0 " + std::string(32, 'k'));
}

// A commit that cannot write the new package file fails the set; the old file stays.
TEST_F(Cfg, SetWhoseCommitFailsIsCommitFailed) {
  ASSERT_EQ(mount("/etc/config", "/etc/config", nullptr, MS_BIND, nullptr), 0);
  ASSERT_EQ(mount(nullptr, "/etc/config", nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);
  EXPECT_EQ(cfg_set("system.main.hostname", "x"), kCfgCommitFailed);
  ASSERT_EQ(umount("/etc/config"), 0);
  std::string buffer;
  EXPECT_EQ(get_device_hostname(buffer), 0);
  EXPECT_EQ(buffer, "x") << "the change stays staged";
  EXPECT_EQ(test::read_file("/etc/config/system").find("'x'"), std::string::npos);
}

TEST_F(Cfg, ApplyRunsThePlatformCommandForAnExistingPackage) {
  test::RecordingRunner recorder;
  ScopedRunner scoped(recorder);
  write_file("/etc/config/wireless", "config wifi-device 'wifi0'\n");
  EXPECT_EQ(apply_wireless(), 0);
  EXPECT_EQ(cfg_apply("nosuch"), kCfgPackageNotFound);
  EXPECT_EQ(cfg_apply("../x"), kCfgPackageNotFound);
  recorder.answer("firewall", ShellResult{1, false, {}});
  EXPECT_EQ(cfg_apply("firewall"), kCfgApplyFailed);
  EXPECT_EQ(recorder.commands(),
            (std::vector<std::string>{"/sbin/uci_apply 'wireless'", "/sbin/uci_apply 'firewall'"}));
}

TEST_F(Cfg, EveryReadSeesWhatAnotherProcessWrote) {
  EXPECT_EQ(get("system.main.hostname"), "0 HomeGate");
  // Rewritten in place by another process, same size and within the same
  // timestamp tick: nothing about the file tells it apart but its bytes.
  std::string text = test::read_file("/etc/config/system");
  text.replace(text.find("HomeGate"), 8, "HomeGa7e");
  struct stat before {};
  ASSERT_EQ(stat("/etc/config/system", &before), 0);
  test::write_file("/etc/config/system", text);  // truncated and rewritten: same inode
  const timespec times[2] = {before.st_atim, before.st_mtim};
  ASSERT_EQ(utimensat(AT_FDCWD, "/etc/config/system", times, 0), 0);
  EXPECT_EQ(get("system.main.hostname"), "0 HomeGa7e");
  // Staged by the command-line tool, then reverted by it.
  ASSERT_EQ(uci("set system.main.hostname=Staged"), 0);
  EXPECT_EQ(get("system.main.hostname"), "0 Staged");
  ASSERT_EQ(uci("revert system"), 0);
  EXPECT_EQ(get("system.main.hostname"), "0 HomeGa7e");
  unlink("/etc/config/system");
  EXPECT_EQ(get("system.main.hostname"), std::to_string(kCfgPackageNotFound) + " ");
}

}  // namespace
}  // namespace pemo
