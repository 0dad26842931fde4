// Hostile values at every text leaf, each set in-process with the commands recorded.
// A value may change which commands run, never a command's shape (no value ends its
// word, starts a command or expands), and adds no option, table or row.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <thread>

#include "request/param_tree.h"
#include "support/documents.h"
#include "support/handler.h"
#include "support/hostile.h"

namespace pemo {
namespace {

using Shape = std::vector<std::string>;

class HostileValues : public test::HandlerTest {
 protected:
  void SetUp() override {
    HandlerTest::SetUp();
    const ParamTree& tree = param_tree();
    for (int position = 0; position < static_cast<int>(kNodeCount); ++position)
      if (tree.node(position).type == kString) leaves_.push_back(position);
  }

  // Walks `value` at `position` in a set request; the shapes of the commands it ran.
  std::vector<std::pair<Shape, std::string>> set(int position, const std::string& value) {
    const std::size_t before = runner_.commands().size();
    const JsonPtr text(json_object_new_string_len(value.data(), static_cast<int>(value.size())));
    test::walk(test::document_for(param_tree(), position, json_object_to_json_string_ext(text.get(), JSON_C_TO_STRING_PLAIN)),
               true);
    std::vector<std::pair<Shape, std::string>> shapes;
    for (const std::string& command : runner_.commands(before)) shapes.emplace_back(test::shell_shape(command), command);
    return shapes;
  }

  void sweep(std::size_t part);  // every kParts-th value from `part` on
  static constexpr std::size_t kParts = 4;
  std::vector<int> leaves_;
};

// The values in four parts, each its own test, so that no sanitized run is long.
void HostileValues::sweep(std::size_t part) {
  const auto schema = test::sql(kProbeDbPath, "SELECT type, name, sql FROM sqlite_master ORDER BY name;");
  const auto rows = test::sql(kProbeDbPath, "SELECT count(*) FROM Device;");
  std::map<int, std::set<Shape>> benign;
  for (const std::string value : {"benign", "1", "0", "5G", "a4:5e:60:11:22:33", "http://a.example/x"})
    for (int position : leaves_)
      for (auto& [shape, command] : set(position, value)) benign[position].insert(shape);
  const std::set<std::string> benign_options = test::option_names(test::read_file);

  const std::vector<std::string> values = test::hostile_values();
  ASSERT_GE(values.size(), 60u);
  for (std::size_t k = part; k < values.size(); k += kParts)
    for (int position : leaves_)
      for (const auto& [shape, command] : set(position, values[k]))
        EXPECT_EQ(benign[position].count(shape), 1u)
            << param_tree().path(position) << " = " << ::testing::PrintToString(values[k]) << " ran: " << command;

  for (const std::string& option : test::option_names(test::read_file))
    EXPECT_EQ(benign_options.count(option), 1u) << "an option appeared: " << option;
  EXPECT_EQ(test::sql(kProbeDbPath, "SELECT type, name, sql FROM sqlite_master ORDER BY name;"), schema);
  EXPECT_EQ(test::sql(kProbeDbPath, "SELECT count(*) FROM Device;"), rows);
  std::printf("hostile: %zu values at %zu text leaves\n", (values.size() - part + kParts - 1) / kParts, leaves_.size());
}

TEST_F(HostileValues, FirstQuarterNeverChangesACommandsShapeNorAddsToTheConfiguration) { sweep(0); }
TEST_F(HostileValues, SecondQuarterNeverChangesACommandsShapeNorAddsToTheConfiguration) { sweep(1); }
TEST_F(HostileValues, ThirdQuarterNeverChangesACommandsShapeNorAddsToTheConfiguration) { sweep(2); }
TEST_F(HostileValues, FourthQuarterNeverChangesACommandsShapeNorAddsToTheConfiguration) { sweep(3); }

// The shape tells a quoted value from one that reaches the shell.
TEST(ShellShape, QuotedWordsKeepTheShape) {
  const Shape plain = test::shell_shape("uci set parental.rule1.name='x' && uci commit parental");
  EXPECT_EQ(test::shell_shape("uci set parental.rule1.name='a; $(b) `c`' && uci commit parental"), plain);
  EXPECT_EQ(test::shell_shape("uci set parental.rule1.name=''\\''x'\\''' && uci commit parental"), plain);
  EXPECT_NE(test::shell_shape("uci set parental.rule1.name='a'; b' && uci commit parental"), plain);
  EXPECT_NE(test::shell_shape("uci set parental.rule1.name=\"$(b)\" && uci commit parental"), plain);
  EXPECT_NE(test::shell_shape("uci set parental.rule1.name=a b && uci commit parental"), plain);
  EXPECT_NE(test::shell_shape("uci set parental.rule1.name=* && uci commit parental"), plain);
  EXPECT_EQ(test::shell_shape("echo 'open"), Shape{"UNTERMINATED"});
}

}  // namespace
}  // namespace pemo
