// A handful of hostile values at every text leaf of the tree, sent in set
// requests to a simulated gateway as a peer on the LAN could send them, where
// every command really runs through the shell (request/hostile_test.cpp sends
// all of them in-process). Whatever a handler does with a value, it must not run
// a command of the sender's choosing, call a tool that a benign value does not
// call, split a value into more arguments than a tool takes, add options to the
// configuration or rows and tables to the probe database, or stop answering.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/json.h"
#include "request/param_tree.h"
#include "support/documents.h"
#include "support/gateway.h"
#include "support/hostile.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

// A set request document built with json-c, so every value is escaped as JSON.
class Document {
 public:
  Document() : root_(json_object_new_object()) {}
  void add(const ParamTree& tree, int position, const std::string& value) {
    cli::add_member(root_.get(), cli::member_path(tree, position),
                    json_object_new_string_len(value.data(), static_cast<int>(value.size())));
  }
  std::string text() const { return json_object_to_json_string_ext(root_.get(), JSON_C_TO_STRING_PLAIN); }

 private:
  JsonPtr root_;
};

class Hostile : public testing::Test {
 protected:
  void SetUp() override {
    PEMO_REQUIRE_SANDBOX();
    // What runs matters here, not when: the agent's pause between accepted
    // connections (a Wi-Fi set closes the connection) is cut short.
    ASSERT_TRUE(gateway_.start({}, true));
    const ParamTree& tree = param_tree();
    for (int position = 0; position < static_cast<int>(kNodeCount); ++position) {
      if (tree.node(position).type != kString) continue;
      const std::vector<std::string> names = cli::member_path(tree, position);
      // A new password would key every later session; its own test covers it.
      if (names.back() == "ConfigPassword") continue;
      (names[1] == "WiFi" ? wifi_leaves_ : other_leaves_).push_back(position);
    }
  }

  // Sends every value to every text leaf, each in a set request.
  void sweep(const std::vector<std::string>& values) {
    const ParamTree& tree = param_tree();
    client::Session session = gateway_.connect();
    for (const std::string& value : values) {
      for (int position : other_leaves_) {
        Document document;
        document.add(tree, position, value);
        exchange(session, document.text(), tree.path(position));
      }
      // A set that enters "WiFi" is answered "{}" and closes the connection, and
      // the agent accepts one connection each half second: pack the Wi-Fi leaves
      // into as few documents as fit.
      std::size_t next = 0;
      while (next < wifi_leaves_.size()) {
        Document document;
        std::size_t taken = 0;
        for (; next + taken < wifi_leaves_.size(); ++taken) {
          Document larger;
          for (std::size_t k = 0; k <= taken; ++k) larger.add(tree, wifi_leaves_[next + k], value);
          if (larger.text().size() > kMaxPayload) break;
          document = std::move(larger);
        }
        if (taken == 0) {  // one leaf alone is too long for a request: cut the value
          document.add(tree, wifi_leaves_[next], value.substr(0, kMaxPayload - 200));
          taken = 1;
        }
        client::Session wifi = gateway_.connect();
        exchange(wifi, document.text(), "Wi-Fi leaves");
        next += taken;
      }
    }
  }

  void exchange(client::Session& session, const std::string& text, const std::string& what) {
    ASSERT_LE(text.size(), kMaxPayload) << what;
    client::Reply reply;
    std::string error;
    if (!session.valid() || !session.exchange(kTypeParamSet, text, "5927", reply, error)) {
      session = gateway_.connect();  // closed after a Wi-Fi change: a fresh one
      if (!session.exchange(kTypeParamSet, text, "5927", reply, error)) {
        ADD_FAILURE() << what << ": no answer: " << error;
        return;
      }
    }
    ++requests_;
  }

  // Waits until the call log has stood still for two seconds (workers that
  // requests started, such as a firmware upgrade, have finished), at most a minute.
  void wait_quiet() const {
    using namespace std::chrono_literals;
    const auto limit = std::chrono::steady_clock::now() + 60s;
    std::size_t lines = gateway_.calls().size();
    auto still_since = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() < limit) {
      std::this_thread::sleep_for(250ms);
      const std::size_t now = gateway_.calls().size();
      if (now != lines) {
        lines = now;
        still_since = std::chrono::steady_clock::now();
      } else if (std::chrono::steady_clock::now() - still_since >= 2s) {
        return;
      }
    }
    ADD_FAILURE() << "the gateway kept calling tools for a minute";
  }

  // Tool names called since line `from` of the call log.
  std::set<std::string> tools_since(std::size_t from, std::size_t& refused) const {
    const std::vector<std::string> calls = gateway_.calls();
    std::set<std::string> tools;
    for (std::size_t k = from; k < calls.size(); ++k) {
      if (calls[k].rfind("REFUSED", 0) == 0) ++refused;
      tools.insert(calls[k].substr(0, calls[k].find(' ')));
    }
    return tools;
  }

  test::SimGateway gateway_;
  std::vector<int> wifi_leaves_, other_leaves_;
  int requests_ = 0;
};

TEST_F(Hostile, ValuesAtEveryTextLeafRunNothingAndAddNothingEndToEnd) {
  const std::vector<std::string> schema =
      gateway_.sql("SELECT type, name, sql FROM sqlite_master ORDER BY name;");
  const std::vector<std::string> rows = gateway_.sql("SELECT count(*) FROM Device;");

  sweep({"benign"});
  wait_quiet();
  std::size_t benign_refused = 0;
  const std::set<std::string> benign_tools = tools_since(0, benign_refused);
  const std::set<std::string> benign_options = test::option_names([this](const std::string& path) { return gateway_.read(path); });
  const std::size_t benign_calls = gateway_.calls().size();

  // The ways out of a quoted word: a single quote, a line break, and a double
  // quote with both kinds of expansion.
  // A sanitized agent takes the first only: the plain build proves both.
  std::vector<std::string> values = {"'; touch /tmp/pwned; '\ntouch /tmp/pwned",
                                     "\"; $(touch /tmp/pwned) `touch /tmp/pwned`; \""};
  if (test::kSanitizedBuild) values.resize(1);
  sweep(values);
  wait_quiet();

  EXPECT_FALSE(test::file_exists(gateway_.path(test::kCanary))) << "a hostile value ran a command";
  std::size_t refused = 0;
  const std::set<std::string> tools = tools_since(benign_calls, refused);
  for (const std::string& tool : tools)
    EXPECT_TRUE(benign_tools.count(tool) == 1 || tool == "REFUSED") << "called only by hostile values: " << tool;
  EXPECT_EQ(benign_refused, 0u) << "a benign value gave a tool arguments it does not take";
  EXPECT_EQ(refused, 0u) << "a hostile value gave a tool arguments it does not take";
  const std::set<std::string> options = test::option_names([this](const std::string& path) { return gateway_.read(path); });
  for (const std::string& option : options)
    EXPECT_EQ(benign_options.count(option), 1u) << "an option appeared: " << option;
  EXPECT_EQ(gateway_.sql("SELECT type, name, sql FROM sqlite_master ORDER BY name;"), schema);
  EXPECT_EQ(gateway_.sql("SELECT count(*) FROM Device;"), rows);
  EXPECT_EQ(gateway_.get(R"({"Device":{"WiFi":{"RadioNumberOfEntries":0}}})"),
            R"({ "Device": { "WiFi": { "RadioNumberOfEntries": 2 } } })");
  std::printf("hostile: %zu values, %zu text leaves (%zu under WiFi), %d requests\n", values.size(),
              wifi_leaves_.size() + other_leaves_.size(), wifi_leaves_.size(), requests_);
}

}  // namespace
}  // namespace pemo
