#include "platform/probe_db.h"
#include "platform/shell.h"

#include <gtest/gtest.h>

#include <chrono>

namespace pemo {
namespace {

using namespace std::chrono_literals;

TEST(ShellQuote, HostileTextComesBackAsOneArgument) {
  const std::string hostile[] = {
      "plain", "", "it's", "\"double\"", "a;reboot", "$(reboot)", "`reboot`", "a && b | c",
      "line\nbreak", "'; reboot; '", "\\'\\", "$HOME ${PATH}", std::string(200, '\''),
  };
  for (const std::string& text : hostile) {
    ShellResult r = posix_runner().execute(
        {"printf '%s|' " + shell_quote(text) + "; printf '%s' \"$#\"", true, 4096, 5s});
    EXPECT_EQ(r.output, text + "|0") << text;
  }
}

TEST(ShellQuote, TextEndsAtNul) {
  EXPECT_EQ(shell_quote(std::string_view("ab\0;reboot", 10)), "'ab'");
  // An SQL literal's body: single quotes doubled, cut at NUL as SQLite's %q is.
  EXPECT_EQ(sql_quote(std::string_view("it's\0' OR 1", 11)), "it''s");
}

// Statuses, the output bound and the time bound; a job left in the background
// (its output elsewhere) does not hold the caller.
TEST(PosixRunner, StatusesAndBounds) {
  EXPECT_EQ(shell_run("exit 7"), 7);
  EXPECT_EQ(shell_run("if then"), 2);  // a syntax error of the shell itself
  EXPECT_EQ(shell_run(""), -1);
  ShellResult r = shell_capture("i=0; while [ $i -lt 20000 ]; do echo 0123456789; i=$((i+1)); done", 10);
  EXPECT_EQ(r.output, "0123456789");
  EXPECT_EQ(r.status, 0);
  const auto start = std::chrono::steady_clock::now();
  r = shell_capture("echo started; sleep 30; echo never", 100, 300ms);
  EXPECT_TRUE(r.timed_out);
  EXPECT_EQ(r.status, -1);
  EXPECT_EQ(shell_run("sleep 30 >/dev/null 2>&1 &"), 0);
  EXPECT_EQ(shell_capture("sleep 30 >/dev/null 2>&1 & echo done").output, "done\n");
  EXPECT_LT(std::chrono::steady_clock::now() - start, 10s);
}

}  // namespace
}  // namespace pemo
