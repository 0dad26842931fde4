// A handful of hostile values at every text leaf, set in the simulated gateway where
// commands really run through the shell (request/hostile_test.cpp sends them all
// in-process, where the options a set adds are checked too): none may run a command
// of the sender's, add rows or tables, or stop the agent answering.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "platform/json.h"
#include "request/param_tree.h"
#include "support/documents.h"
#include "support/gateway.h"
#include "support/hostile.h"
#include "support/sandbox.h"

namespace pemo {
namespace {

using namespace std::chrono_literals;

class Hostile : public testing::Test {
 protected:
  void SetUp() override {
    PEMO_REQUIRE_SANDBOX();
    // What runs matters here, not when: the agent's pause between accepted
    // connections (a Wi-Fi set closes the connection) is cut short.
    ASSERT_TRUE(gateway_.start({}, true));
  }

  // Sends every value to every text leaf but the password (a new one would key
  // every later session; its own test covers it), each in a set request.
  void sweep(const std::vector<std::string>& values) {
    const ParamTree& tree = param_tree();
    client::Session session;
    for (const std::string& value : values) {
      JsonPtr text(json_object_new_string_len(value.data(), static_cast<int>(value.size())));
      const std::string json = json_object_to_json_string_ext(text.get(), JSON_C_TO_STRING_PLAIN);
      for (int position = 0; position < static_cast<int>(kNodeCount); ++position) {
        if (tree.node(position).type != kString || std::string_view(tree.node(position).name) == "ConfigPassword")
          continue;
        const std::string document = test::document_for(tree, position, json);
        // A set that enters "WiFi" is answered "{}" and closes: then a fresh session.
        if (test::exchange(session, kTypeParamSet, document).status() == test::kNoAnswer) {
          session = gateway_.connect();
          EXPECT_NE(test::exchange(session, kTypeParamSet, document).status(), test::kNoAnswer) << tree.path(position);
        }
        ++requests_;
      }
    }
  }

  test::SimGateway gateway_;
  int requests_ = 0;
};

TEST_F(Hostile, ValuesAtEveryTextLeafRunNothingEndToEnd) {
  const std::vector<std::string> schema = gateway_.sql("SELECT type, name, sql FROM sqlite_master ORDER BY name;");
  const std::vector<std::string> rows = gateway_.sql("SELECT count(*) FROM Device;");
  // The ways out of a quoted word: a single quote, a line break, and a double
  // quote with both kinds of expansion. A sanitized agent takes the first only.
  std::vector<std::string> values = {"'; touch /tmp/pwned; '\ntouch /tmp/pwned",
                                     "\"; $(touch /tmp/pwned) `touch /tmp/pwned`; \""};
  if (test::kSanitizedBuild) values.resize(1);
  sweep(values);
  EXPECT_TRUE(gateway_.wait_quiet(2s)) << "the gateway kept calling tools for a minute";

  EXPECT_FALSE(test::file_exists(gateway_.path(test::kCanary))) << "a hostile value ran a command";
  EXPECT_EQ(gateway_.sql("SELECT type, name, sql FROM sqlite_master ORDER BY name;"), schema);
  EXPECT_EQ(gateway_.sql("SELECT count(*) FROM Device;"), rows);
  EXPECT_EQ(gateway_.get(R"({"Device":{"WiFi":{"RadioNumberOfEntries":0}}})"),
            R"({ "Device": { "WiFi": { "RadioNumberOfEntries": 2 } } })");
  std::printf("hostile: %zu values, %d requests\n", values.size(), requests_);
}

}  // namespace
}  // namespace pemo
