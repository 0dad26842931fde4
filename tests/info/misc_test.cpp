// Miscellaneous values and the speed test, through the parser as a request would.
#include <fcntl.h>
#include <sys/stat.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>

#include "platform/fd.h"
#include "support/handler.h"

namespace pemo {
namespace {

constexpr const char* kPidFile = "/var/run/hvhttpd.pid";

// A child that waits until it is killed.
pid_t sleeper() {
  const pid_t pid = fork();
  if (pid == 0) {
    pause();
    _exit(0);
  }
  return pid;
}

// How many descriptors of this process hold the pid file, a FIFO here, open.
int fifo_readers() {
  struct stat fifo {};
  if (stat(kPidFile, &fifo) != 0) return 0;
  int open_here = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    struct stat st {};
    if (stat(entry.path().c_str(), &st) == 0 && st.st_ino == fifo.st_ino && st.st_dev == fifo.st_dev) ++open_here;
  }
  return open_here;
}

using Misc = test::HandlerTest;
using test::ext;

// Stopping signals exactly the process the check found running: the pid file is
// then a FIFO that names the server to its first reader and a bystander to any
// later one, as a file rewritten between the check and the kill would.
TEST_F(Misc, WebServerStartsOnceAndStopsOnlyTheProcessItFound) {
  EXPECT_EQ(ext(R"("GwSpeedTestInfo":{"ServerPort":0})"), R"({"GwSpeedTestInfo":{"ServerPort":5566}})");
  EXPECT_EQ(ext(R"("GwSpeedTestInfo":{"Enable":0})", true), R"({"GwSpeedTestInfo":{"Enable":0}})");
  EXPECT_EQ(ext(R"("GwSpeedTestInfo":{"Enable":1})", true), R"({"GwSpeedTestInfo":{"Enable":0}})");
  EXPECT_EQ(runner_.commands(), std::vector<std::string>{"/bin/hvhttpd -p 5566 -P /var/run/hvhttpd.pid &"});
  const pid_t server = sleeper(), bystander = sleeper();
  test::write_file(kPidFile, std::to_string(server) + "\n");
  EXPECT_EQ(ext(R"("GwSpeedTestInfo":{"Enable":1})", true), "<-26>");
  unlink(kPidFile);
  ASSERT_EQ(mkfifo(kPidFile, 0600), 0);
  std::atomic<bool> draining = false;
  std::thread feeder([&] {
    for (const pid_t pid : {server, bystander}) {
      const std::string line = std::to_string(pid) + "\n";
      UniqueFd fd(open(kPidFile, O_WRONLY | O_CLOEXEC));  // waits for the next reader
      static_cast<void>(write(fd.get(), line.data(), line.size()));
      fd = UniqueFd();
      // The reader takes its end of file and closes before the next line is
      // offered; the test's own drain below takes what is left.
      if (pid == server) test::eventually([&] { return draining || fifo_readers() == 0; });
    }
  });
  EXPECT_EQ(ext(R"("GwSpeedTestInfo":{"Enable":0})", true), R"({"GwSpeedTestInfo":{"Enable":0}})");
  draining = true;
  UniqueFd drain(open(kPidFile, O_RDONLY | O_NONBLOCK | O_CLOEXEC));  // takes what no read took
  feeder.join();
  // SIGTERM reaches only a process still alive: the server must have had SIGKILL.
  for (const auto& [pid, ended_by] : {std::pair{server, SIGKILL}, std::pair{bystander, SIGTERM}}) {
    kill(pid, SIGTERM);
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == ended_by) << (pid == server ? "server" : "bystander");
  }
}

// The parental transcript shows the count; a pipe that cannot run is an error.
TEST_F(Misc, ParentalRuleCountWithoutItsPipe) {
  runner_.answer("", ShellResult{-1, false, ""});
  EXPECT_EQ(ext(R"("ParentalControlNumberOfEntries":0)"), "<-19>");
}

}  // namespace
}  // namespace pemo
