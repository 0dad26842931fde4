// The UCI engine on private directories: errors, locks, crashes and full disks
// (uci_interop.sh proves its format against the platform's tool).
#include "platform/uci.h"

#include <gtest/gtest.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <random>
#include <thread>
#include <vector>

#include "platform/fd.h"
#include "support/sandbox.h"

namespace pemo::uci {
namespace {

using test::read_file;
using test::write_file;

std::string value_of(const Package& package, std::string_view path_text) {
  Path path;
  EXPECT_EQ(parse_path(path_text, path), kOk) << path_text;
  Resolved found = resolve(package, path);
  if (found.found != Found::kComplete || found.option == nullptr) return "<missing>";
  return found.option->text();
}

TEST(UciParse, NulBytesAreRefusedWithTheirLine) {
  struct Case {
    std::string text;
    int line;
  } const cases[] = {
      // Other refused texts are compared with the platform's tool (uci_interop.sh).
      {std::string("config t s\n\toption v a\0b\n", 25), 2},
      // Found by fuzzing: an escaped NUL once slipped into a value.
      {std::string("config t s\n\tlist x \"0\"\\\0", 24), 2},
  };
  for (const Case& c : cases) {
    Package p;
    ParseError error;
    EXPECT_EQ(parse_package(c.text, "p", p, error), kErrParse) << c.text;
    EXPECT_EQ(error.line, c.line) << c.text;
  }
}

class UciStore : public testing::Test {
 protected:
  void SetUp() override {
    char base[] = "/tmp/uciXXXXXX";
    ASSERT_NE(mkdtemp(base), nullptr);
    dirs_ = {std::string(base) + "/config", std::string(base) + "/save", {}};
    mkdir(dirs_.config.c_str(), 0755);
    write_file(dirs_.config + "/wireless",
               "config wifi-device 'wifi0'\n\toption channel 'auto'\n"
               "config wifi-iface\n\toption ssid 'first'\n"
               "config wifi-iface\n\toption ssid 'second'\n"
               "config wifi-iface\n\toption ssid 'third'\n");
  }
  bool staged() const { return !read_file(dirs_.save + "/wireless").empty(); }
  std::string get(std::string_view path_text) {
    Package package;
    if (int rc = load_package(dirs_, "wireless", package); rc != kOk) return "<error>";
    return value_of(package, path_text);
  }
  int set(std::string_view path_text, std::string_view value) {
    Path path;
    if (int rc = parse_path(path_text, path); rc != kOk) return rc;
    return stage_set(dirs_, path, value);
  }
  Dirs dirs_;
};

TEST_F(UciStore, StagedChangesAreSeenAtOnceAndWrittenByCommit) {
  const std::string before = read_file(dirs_.config + "/wireless");
  const auto mode = [](const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : 0;
  };
  chmod((dirs_.config + "/wireless").c_str(), 0640);  // the package's files all keep its mode
  ASSERT_EQ(set("wireless.@wifi-iface[1].ssid", "new 'one'"), kOk);
  ASSERT_EQ(set("wireless.guest", "wifi-iface"), kOk);
  ASSERT_EQ(set("wireless.guest.ssid", "Guest"), kOk);
  Path path;
  ASSERT_EQ(parse_path("wireless.wifi0.channel", path), kOk);
  ASSERT_EQ(stage(dirs_, Command::kDelete, path, ""), kOk);

  EXPECT_EQ(get("wireless.@wifi-iface[1].ssid"), "new 'one'");
  EXPECT_EQ(get("wireless.wifi0.channel"), "<missing>");
  EXPECT_EQ(read_file(dirs_.config + "/wireless"), before);
  EXPECT_TRUE(staged());
  EXPECT_EQ(mode(dirs_.save + "/wireless"), 0640u);

  ASSERT_EQ(commit(dirs_, "wireless"), kOk);
  EXPECT_FALSE(staged());
  EXPECT_EQ(mode(dirs_.config + "/wireless"), 0640u);
  Package imported;
  ASSERT_EQ(load_package(dirs_, "wireless", imported), kOk);
  ASSERT_EQ(write_package(dirs_, imported), kOk);
  EXPECT_EQ(mode(dirs_.config + "/wireless"), 0640u) << "an import keeps it too";
  EXPECT_NE(read_file(dirs_.config + "/wireless"), before);
  EXPECT_EQ(get("wireless.@wifi-iface[1].ssid"), "new 'one'");
  EXPECT_EQ(get("wireless.guest.ssid"), "Guest");
  EXPECT_EQ(get("wireless.wifi0.channel"), "<missing>");
}

// A request's scope: one read of each package, its own writes read back, and
// the next scope sees what other programs wrote.
TEST_F(UciStore, AScopeReadsEachPackageOnceAndSeesItsOwnWrites) {
  const std::string file = dirs_.config + "/wireless", seed = read_file(file);
  const auto channel = [&](const std::string& value) {  // another program's commit
    std::string text = seed;
    write_file(file, text.replace(text.find("'auto'"), 6, "'" + value + "'"));
  };
  {
    const ReadScope scope;
    EXPECT_EQ(get("wireless.wifi0.channel"), "auto");
    channel("11");
    EXPECT_EQ(get("wireless.wifi0.channel"), "auto");
    ASSERT_EQ(set("wireless.@wifi-iface[0].ssid", "mine"), kOk);
    EXPECT_EQ(get("wireless.@wifi-iface[0].ssid"), "mine");
    EXPECT_EQ(get("wireless.wifi0.channel"), "11");
    channel("12");
    forget_reads();  // as after a platform command
    EXPECT_EQ(get("wireless.wifi0.channel"), "12");
    channel("13");
  }
  EXPECT_EQ(get("wireless.wifi0.channel"), "13");
}

// Refusals the platform's tool shares are compared with it (uci_interop.sh);
// these are the agent's own.
TEST_F(UciStore, RefusesChangesThatCannotLand) {
  EXPECT_EQ(stage_changes(dirs_, "missing", {Change{Command::kSet, "s", "o", "x"}}), kErrNotFound);
  EXPECT_EQ(set("wireless.wifi0.channel", std::string("a\0b", 3)), kErrInval);
  EXPECT_EQ(set("wireless.wifi0.channel", "a\x01"), kErrInval);
  Path path;
  ASSERT_EQ(parse_path("wireless.@wifi-iface[0]", path), kOk);
  EXPECT_EQ(stage(dirs_, Command::kRename, path, "wifi0"), kErrDuplicate);
  EXPECT_EQ(stage(dirs_, Command::kRename, path, "bad name"), kErrInval);
  EXPECT_FALSE(staged());
  // A change that cannot be written down is an error, not a change made.
  mkdir(dirs_.save.c_str(), 0755);
  ASSERT_EQ(mount(dirs_.save.c_str(), dirs_.save.c_str(), nullptr, MS_BIND, nullptr), 0);
  ASSERT_EQ(mount(nullptr, dirs_.save.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);
  EXPECT_EQ(set("wireless.wifi0.channel", "1"), kErrIo);
  ASSERT_EQ(umount(dirs_.save.c_str()), 0);
  EXPECT_EQ(get("wireless.wifi0.channel"), "auto");
  // So is a commit whose new file cannot be made (no inode left for it): the
  // change stays staged.
  const std::string package = read_file(dirs_.config + "/wireless");
  ASSERT_EQ(mount("tmpfs", dirs_.config.c_str(), "tmpfs", 0, "nr_inodes=2"), 0);
  write_file(dirs_.config + "/wireless", package);
  ASSERT_EQ(set("wireless.wifi0.channel", "1"), kOk);
  EXPECT_EQ(commit(dirs_, "wireless"), kErrIo);
  EXPECT_EQ(read_file(dirs_.config + "/wireless"), package);
  ASSERT_EQ(umount(dirs_.config.c_str()), 0);
  EXPECT_TRUE(staged());
  std::filesystem::remove(dirs_.save + "/wireless");
  // A section the index does not reach has no changes to revert.
  ASSERT_EQ(parse_path("wireless.@wifi-iface[9]", path), kOk);
  EXPECT_EQ(revert(dirs_, path), kOk);
  // A change file that cannot be opened is an error, not "nothing to revert".
  std::filesystem::create_directories(dirs_.save + "/wireless");
  EXPECT_EQ(revert(dirs_, "wireless"), kErrIo);
  EXPECT_EQ(commit(dirs_, "wireless"), kErrIo);
}

// Only a regular file is a package: a FIFO in its place is not waited on, and a
// save directory that is a file leaves the package without staged changes. A
// path that cannot be opened is no missing package, so nothing is set over it.
TEST_F(UciStore, OnlyARegularFileIsAPackage) {
  ASSERT_EQ(mkfifo((dirs_.config + "/fifo").c_str(), 0644), 0);
  std::filesystem::create_directories(dirs_.config + "/folder");
  const UniqueFd sock(socket(AF_UNIX, SOCK_STREAM, 0));
  sockaddr_un address{AF_UNIX, {}};
  (dirs_.config + "/socket").copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(bind(sock.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  Package package;
  EXPECT_EQ(load_package(dirs_, "fifo", package), kErrNotFound);
  EXPECT_EQ(load_package(dirs_, "folder", package), kErrNotFound);
  EXPECT_EQ(load_package(dirs_, "socket", package), kErrIo);
  EXPECT_EQ(set("socket.s.o", "x"), kErrIo);
  EXPECT_TRUE(std::filesystem::is_socket(dirs_.config + "/socket"));
  write_file(dirs_.save, "not a folder");
  EXPECT_EQ(get("wireless.wifi0.channel"), "auto");
}

// A torn last record (its writer stopped mid-line) is dropped; other records
// that do not parse are compared with the platform's tool (uci_interop.sh).
TEST_F(UciStore, ATornLastRecordIsDropped) {
  ASSERT_EQ(set("wireless.wifi0.channel", "6"), kOk);
  const std::string delta = dirs_.save + "/wireless";
  write_file(delta, read_file(delta) + "-wireless.wifi0");
  EXPECT_EQ(get("wireless.wifi0.channel"), "6");
}

TEST_F(UciStore, FullFileSystemKeepsTheOldFileAndTheStagedChanges) {
  // A tiny file system holding the package leaves no room for the rewritten file.
  std::string small = dirs_.config + "/../small";
  mkdir(small.c_str(), 0755);
  ASSERT_EQ(mount("tmpfs", small.c_str(), "tmpfs", 0, "size=8k"), 0);
  const std::string original = read_file(dirs_.config + "/wireless");
  write_file(small + "/wireless", original);
  write_file(small + "/filler", std::string(4096, 'x'));
  Dirs full{small, dirs_.save, {}};
  Path path;
  ASSERT_EQ(parse_path("wireless.wifi0.channel", path), kOk);
  ASSERT_EQ(stage_set(full, path, std::string(6000, 'y')), kOk);
  EXPECT_EQ(commit(full, "wireless"), kErrIo);
  Package imported;
  ASSERT_EQ(load_package(full, "wireless", imported), kOk);
  EXPECT_EQ(write_package(full, imported), kErrIo);  // an import, too, keeps the old file
  EXPECT_EQ(read_file(small + "/wireless"), original);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(small), {}), 2);  // no temporary file left
  Package package;
  ASSERT_EQ(load_package(full, "wireless", package), kOk);
  EXPECT_EQ(value_of(package, "wireless.wifi0.channel"), std::string(6000, 'y'));
}

// A writer killed at random moments while it stages and commits, forty times: the
// package file always parses whole and never goes back to an older value, and what
// was staged is seen through it.
TEST_F(UciStore, WriterKilledMidCommitLeavesOldOrNewFileAndItsStagedChanges) {
  // A large package makes each commit long enough to be interrupted in the middle.
  std::string text = "config wifi-device 'wifi0'\n\toption channel 'v0'\n";
  for (int k = 0; k < 2000; ++k) text += "config pad\n\toption fill '" + std::string(100, 'p') + "'\n";
  write_file(dirs_.config + "/wireless", text);
  std::minstd_rand random(263);
  int committed = 0, next = 1;  // the writers stage ever larger values
  for (int round = 0; round < 40; ++round) {
    const pid_t writer = fork();
    ASSERT_GE(writer, 0);
    for (int v = next; writer == 0; ++v)
      if (set("wireless.wifi0.channel", "v" + std::to_string(v)) != kOk || commit(dirs_, "wireless") != kOk) _exit(1);
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 20000));
    kill(writer, SIGKILL);
    int status = 0;
    waitpid(writer, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status)) << "the writer failed by itself in round " << round;
    Package file;
    ParseError error;
    ASSERT_EQ(parse_package(read_file(dirs_.config + "/wireless"), "wireless", file, error), kOk)
        << "round " << round << ": " << error.message << " line " << error.line;
    ASSERT_EQ(file.sections.size(), 2001u) << "round " << round;
    const int in_file = std::stoi(value_of(file, "wireless.wifi0.channel").substr(1));
    const int seen = std::stoi(get("wireless.wifi0.channel").substr(1));
    EXPECT_GE(in_file, committed) << "round " << round;
    EXPECT_GE(seen, in_file) << "round " << round;
    committed = in_file;
    next = seen + 1;
  }
  // No lock or half-written file is left behind: an ordinary commit still lands.
  ASSERT_EQ(set("wireless.wifi0.channel", "final"), kOk);
  ASSERT_EQ(commit(dirs_, "wireless"), kOk);
  EXPECT_NE(read_file(dirs_.config + "/wireless").find("option channel 'final'"), std::string::npos);
}

// The platform's tool opens a package file before it waits for its lock: however
// many commits replace the file meanwhile, the tool then reads the newest text.
TEST_F(UciStore, AFileOpenedBeforeManyCommitsHoldsTheNewestText) {
  UniqueFd opened(open((dirs_.config + "/wireless").c_str(), O_RDONLY | O_CLOEXEC));
  const pid_t holder = fork();
  ASSERT_GE(holder, 0);
  if (holder == 0) {
    pause();
    _exit(0);
  }
  const std::string held = "/proc/" + std::to_string(holder) + "/fd/" + std::to_string(opened.get());
  opened = UniqueFd();
  for (int k = 1; k <= 8; ++k) {
    ASSERT_EQ(set("wireless.wifi0.channel", "c" + std::to_string(k)), kOk);
    ASSERT_EQ(commit(dirs_, "wireless"), kOk);
  }
  const std::string text = read_file(held);
  kill(holder, SIGKILL);
  waitpid(holder, nullptr, 0);
  // Whole, from its first byte: no hole of NUL bytes where the older text ended.
  EXPECT_EQ(text, read_file(dirs_.config + "/wireless"));
  EXPECT_NE(text.find("option channel 'c8'"), std::string::npos) << text;
}

// Years of rules make packages and change files large; the platform's library
// reads them at any size, and so must the agent, or it locks the app out.
TEST_F(UciStore, EightMebibytePackagesAndChangeFilesAreReadAndCommitted) {
  const std::string value(8000, 'v');
  std::string text = "config wifi-device 'wifi0'\n\toption channel 'auto'\n";
  for (int k = 0; k < 1050; ++k) text += "config pad 'p" + std::to_string(k) + "'\n\toption fill '" + value + "'\n";
  write_file(dirs_.config + "/wireless", text);
  std::string records;
  for (int k = 0; records.size() < (8u << 20); ++k) records += "wireless.wifi0.channel='" + std::to_string(k) + value + "'\n";
  mkdir(dirs_.save.c_str(), 0700);
  write_file(dirs_.save + "/wireless", records);
  const std::string last = records.substr(records.rfind("='") + 2, records.size() - records.rfind("='") - 4);
  EXPECT_TRUE(get("wireless.wifi0.channel") == last);  // compared quietly: megabytes of text
  EXPECT_TRUE(get("wireless.p1049.fill") == value);
  ASSERT_EQ(commit(dirs_, "wireless"), kOk);
  EXPECT_FALSE(staged());
  Package file;
  ParseError error;
  ASSERT_EQ(parse_package(read_file(dirs_.config + "/wireless"), "wireless", file, error), kOk);
  EXPECT_TRUE(value_of(file, "wireless.wifi0.channel") == last);
  EXPECT_EQ(file.sections.size(), 1051u);
}

TEST_F(UciStore, PathsAndPackageNamesNeverLeaveTheDirectories) {
  Path path;
  ASSERT_EQ(parse_path("system", path), kOk);
  EXPECT_FALSE(path.has_section);
  for (const char* bad : {"", ".", "system.", "system..pwd", "a.b.c.d", "../etc.x.y", "a/b.c.d",
                          "p.@t", "p.@t[x]", "p.@t[1", "p.s-x.o", "p.s.o-x", "p.s.o=v", "p.@t x[0]"})
    EXPECT_EQ(parse_path(bad, path), kErrInval) << bad;
  Package package;
  EXPECT_EQ(load_package(dirs_, "../save/x", package), kErrInval);
  EXPECT_EQ(commit(dirs_, "../../etc/passwd"), kErrInval);
  EXPECT_EQ(revert(dirs_, "a/b"), kErrInval);
  std::string section;
  EXPECT_EQ(stage_add(dirs_, "../x", "t", section), kErrInval);
  package.name = "../x";
  EXPECT_EQ(write_package(dirs_, package), kErrInval);
}

}  // namespace
}  // namespace pemo::uci
