// Miscellaneous values and the speed test, through the parser as a request would.
#include <fcntl.h>
#include <sched.h>
#include <sys/stat.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/handler.h"

namespace pemo {
namespace {

class Misc : public test::HandlerTest {
 protected:
  // Walks {"Device":{"X_Halvo_Ext":{<members>}}}; the walked object, or the status.
  static std::string ext(const std::string& members, bool set = false) {
    return test::below({"X_Halvo_Ext"}, "{" + members + "}", set);
  }
};

TEST_F(Misc, SpeedTestFromUrlToSpeeds) {
  // The handler keeps its argument text, which a set reply then shows.
  EXPECT_EQ(ext(R"("SpeedTestInfo":{"URL":"\"http://a.example/st,http://b.example"})", true),
            R"({"SpeedTestInfo":{"URL":"SpeedTest_URL"}})");
  std::string lines;
  for (int k = 0; k < 8; ++k) lines += "http://a.example/st\n";
  EXPECT_EQ(test::read_file("/tmp/SpeedTestURL"), lines);

  ext(R"("SpeedTestInfo":{"ActionType":"Download"})", true);
  ext(R"("SpeedTestInfo":{"ActionType":"Sideways"})", true);
  ext(R"("SpeedTestInfo":{"ActionType":"Upload"})", true);
  EXPECT_EQ(runner_.commands(),
            (std::vector<std::string>{
                "/usr/bin/SpeedTest -c 10 -f /tmp/SpeedTestURL -p 80 -s down -u "
                "/speedtest/random3500x3500.jpg &",
                "/usr/bin/SpeedTest -c 10 -f /tmp/SpeedTestURL -p 80 -s up -l 1000 &"}));

  EXPECT_EQ(ext(R"("SpeedTestInfo":{"End":0,"DownloadSpeed":"","UploadSpeed":""})"),
            R"({"SpeedTestInfo":{"End":1,"DownloadSpeed":"0.00","UploadSpeed":"0.00"}})");
  test::write_file("/tmp/SpeedTestInfo", "93.5,11.25,0\n");
  EXPECT_EQ(ext(R"("SpeedTestInfo":{"End":7,"DownloadSpeed":"","UploadSpeed":""})"),
            R"({"SpeedTestInfo":{"End":0,"DownloadSpeed":"93.50","UploadSpeed":"11.25"}})");
}

TEST_F(Misc, EmptyUrlWritesNoFile) {
  ext(R"("SpeedTestInfo":{"URL":"\"\""})", true);
  EXPECT_FALSE(test::file_exists("/tmp/SpeedTestURL"));
}

TEST_F(Misc, WebServerStartsOnceAndStops) {
  EXPECT_EQ(ext(R"("GwSpeedTestInfo":{"ServerPort":0})"), R"({"GwSpeedTestInfo":{"ServerPort":5566}})");
  EXPECT_EQ(ext(R"("GwSpeedTestInfo":{"Enable":0})", true), R"({"GwSpeedTestInfo":{"Enable":0}})");
  EXPECT_EQ(ext(R"("GwSpeedTestInfo":{"Enable":1})", true), R"({"GwSpeedTestInfo":{"Enable":0}})");
  EXPECT_EQ(runner_.commands(),
            std::vector<std::string>{"/bin/hvhttpd -p 5566 -P /var/run/hvhttpd.pid &"});

  // A server of our own stands for the running one.
  pid_t server = fork();
  if (server == 0) {
    pause();
    _exit(0);
  }
  test::write_file("/var/run/hvhttpd.pid", std::to_string(server) + "\n");
  EXPECT_EQ(ext(R"("GwSpeedTestInfo":{"Enable":1})", true), "<-26>");
  EXPECT_EQ(ext(R"("GwSpeedTestInfo":{"Enable":0})", true), R"({"GwSpeedTestInfo":{"Enable":0}})");
  int status = 0;
  ASSERT_EQ(waitpid(server, &status, 0), server);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
}

// Stopping the web server signals exactly the process it found running. The pid
// file here is a FIFO that names the server to the first reader and -1 to any
// later one, as a file rewritten between the test and the kill would: a second
// read would signal every process. It runs as the init of a private PID
// namespace, so such a kill could reach only the processes made here.
TEST_F(Misc, WebServerStopSignalsOnlyTheProcessItTested) {
  pid_t outer = fork();
  ASSERT_GE(outer, 0);
  if (outer == 0) {
    if (unshare(CLONE_NEWPID) != 0) _exit(77);
    pid_t init = fork();
    if (init != 0) {
      int status = 0;
      waitpid(init, &status, 0);
      _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 3);
    }
    auto sleeper = [] {
      pid_t pid = fork();
      if (pid == 0) {
        pause();
        _exit(0);
      }
      return pid;
    };
    const pid_t server = sleeper(), bystander = sleeper();
    unlink("/var/run/hvhttpd.pid");
    if (mkfifo("/var/run/hvhttpd.pid", 0600) != 0) _exit(77);
    pid_t feeder = fork();
    if (feeder == 0) {
      for (const std::string& answer : {std::to_string(server) + "\n", std::string("-1\n")}) {
        const int fd = open("/var/run/hvhttpd.pid", O_WRONLY);  // waits for the next reader
        static_cast<void>(write(fd, answer.data(), answer.size()));
        close(fd);
        usleep(50'000);  // the reader takes its end of file before the next answer
      }
      _exit(0);
    }
    const bool answered = ext(R"("GwSpeedTestInfo":{"Enable":0})", true).front() == '{';
    int server_status = 0;
    const bool server_killed = waitpid(server, &server_status, 0) == server && WIFSIGNALED(server_status);
    const bool bystander_alive = waitpid(bystander, nullptr, WNOHANG) == 0;
    kill(bystander, SIGKILL);
    kill(feeder, SIGKILL);
    _exit(answered && server_killed && bystander_alive ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(outer, &status, 0), outer);
  ASSERT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == 77) GTEST_SKIP() << "no private PID namespace or FIFO here";
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(Misc, ParentalRuleCountComesFromThePipe) {
  runner_.answer("config parental_rule", ShellResult{0, false, "3\n"});
  EXPECT_EQ(ext(R"("ParentalControlNumberOfEntries":0)"), R"({"ParentalControlNumberOfEntries":3})");
  runner_.answer("", ShellResult{-1, false, ""});
  EXPECT_EQ(ext(R"("ParentalControlNumberOfEntries":0)"), "<-19>");
}

}  // namespace
}  // namespace pemo
