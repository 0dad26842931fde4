// A configuration package that cannot be read must fail closed: no reader may take
// the text of the option path it asked for as the option's value.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "request/param_tree.h"
#include "support/documents.h"
#include "support/handler.h"

namespace pemo {
namespace {

const char* const kPackages[] = {"system", "wireless", "network", "parental",
                                 "firewall", "wps", "wps5G", "web-redirect"};

// The ways a package file can be broken, each by what it leaves at the path.
const std::pair<const char*, std::string> kBreakages[] = {
    {"unparsable", "config main 'main'\n\toption pwd 'unterminated\n"},
    {"unreadable", ""},  // a directory: it opens, but every read fails
    {"missing", ""},
};

using BrokenConfig = test::HandlerTest;

// Every leaf of the tree is read once with each package healthy and once with it
// broken each way: a broken read either fails the request or answers without the
// path text that a healthy read does not answer either.
TEST_F(BrokenConfig, NoLeafAnswersThePathItAskedFor) {
  const ParamTree& tree = param_tree();
  std::vector<std::pair<std::string, std::string>> leaves;  // request, healthy reply
  for (int position = 0; position < static_cast<int>(kNodeCount); ++position) {
    const int type = tree.node(position).type;
    if (type == kObject) continue;
    const std::string request = test::document_for(tree, position, type == kInt ? "0" : "\"\"");
    leaves.emplace_back(request, test::walk(request).reply);
  }
  ASSERT_GT(leaves.size(), 180u);
  for (const char* package : kPackages) {
    const std::string path_text = std::string(package) + ".";
    for (const auto& [how, text] : kBreakages) {
      const std::string file = "/etc/config/" + std::string(package);
      unlink(file.c_str());
      if (!text.empty()) test::write_file(file, text);
      ASSERT_TRUE(how != std::string_view("unreadable") || mkdir(file.c_str(), 0755) == 0);
      for (const auto& [request, healthy] : leaves) {
        const test::Walk broken = test::walk(request);
        if (broken.result < 0 || healthy.find(path_text) != std::string::npos) continue;
        EXPECT_EQ(broken.reply.find(path_text), std::string::npos)
            << package << " " << how << ": " << request << " -> " << broken.reply;
      }
      std::string buffer = path_text + "main.pwd";
      EXPECT_LT(cfg_get(buffer), 0) << package;
      EXPECT_EQ(buffer, "");
      EXPECT_EQ(cfg_set(path_text + "main.pwd", "x"), kCfgPackageNotFound) << package;
      EXPECT_EQ(cfg_apply(package), kCfgPackageNotFound) << package;
      rmdir(file.c_str());
      test::seed_gateway_config();
    }
  }
}

// Paths that name no usable option cannot be written: the gateway identity nodes
// have no path at all.
TEST_F(BrokenConfig, WritesWithoutAUsablePathFail) {
  for (const char* member : {R"("GatewayHostname":"x")", R"("GatewayHostMAC":"x")", R"("GatewayAutoCfg":1)"}) {
    const test::Walk w =
        test::walk(std::string(R"({"Device":{"X_Halvo_Ext":{"GatewayInfo":{)") + member + "}}}}", true);
    EXPECT_EQ(w.result, kCfgPackageNotFound) << member;
  }
  EXPECT_EQ(cfg_set("", "x"), kCfgPackageNotFound);
  EXPECT_EQ(cfg_set("system.nosuch.x", "1"), kCfgNotFound);
  EXPECT_EQ(cfg_set("system.main.bad-name", "1"), kCfgNotFound);
  EXPECT_EQ(test::read_file("/etc/config/system"),
            test::read_file(PEMO_SOURCE_DIR "/sim/seed/etc/config/system"));
}

}  // namespace
}  // namespace pemo
