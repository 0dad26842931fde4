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

enum class Breakage { kUnparsable, kUnreadable, kTooLarge, kMissing };

void break_package(const std::string& name, Breakage how) {
  const std::string path = "/etc/config/" + name;
  unlink(path.c_str());
  switch (how) {
    case Breakage::kUnparsable:
      test::write_file(path, "config main 'main'\n\toption pwd 'unterminated\n");
      break;
    case Breakage::kUnreadable:  // opens, but every read fails
      ASSERT_EQ(mkdir(path.c_str(), 0755), 0);
      break;
    case Breakage::kTooLarge:
      test::write_file(path, "config main 'main'\n" + std::string(std::size_t{2} << 20, '#') + "\n");
      break;
    case Breakage::kMissing:
      break;
  }
}

void restore(const std::string& name) {
  rmdir(("/etc/config/" + name).c_str());
  test::seed_gateway_config();
}

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
    for (Breakage how : {Breakage::kUnparsable, Breakage::kUnreadable, Breakage::kTooLarge, Breakage::kMissing}) {
      break_package(package, how);
      for (const auto& [request, healthy] : leaves) {
        const test::Walk broken = test::walk(request);
        if (broken.result < 0 || healthy.find(path_text) != std::string::npos) continue;
        EXPECT_EQ(broken.reply.find(path_text), std::string::npos)
            << package << " broken (" << static_cast<int>(how) << "): " << request << " -> " << broken.reply;
      }
      std::string buffer = path_text + "main.pwd";
      EXPECT_LT(cfg_get(buffer), 0) << package;
      EXPECT_EQ(buffer, "");
      EXPECT_EQ(cfg_set(path_text + "main.pwd", "x"), kCfgPackageNotFound) << package;
      EXPECT_EQ(cfg_apply(package), kCfgPackageNotFound) << package;
      restore(package);
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
