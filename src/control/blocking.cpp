// Host blocking: three drop rules per host in the `firewall` package, written with
// the uci command line and committed by the agent's own next set of the package.
#include "control/blocking.h"

#include <json-c/json.h>

#include <string>

#include "info/info.h"
#include "platform/cfg.h"
#include "platform/files.h"
#include "platform/json.h"
#include "platform/probe_db.h"
#include "platform/shell.h"

namespace pemo {
namespace {

std::string rule(int n) { return "firewall.rule" + std::to_string(n); }

void write_rule(int n, const std::string& quoted_mac, const char* protocol) {
  const std::string set = "uci set " + rule(n);
  const std::string number = std::to_string(n);
  for (const std::string& option : {
           std::string("=firewall"), std::string(".StatusEnable=1"), ".CurPos=" + number,
           std::string(".type=in"), std::string(".name=app_service"), std::string(".protocol=") + protocol,
           ".service=service" + number, ".mac_address=" + quoted_mac, std::string(".wan=0"),
           std::string(".src_ip=0.0.0.0"), std::string(".local=0"), std::string(".dst_ip=0.0.0.0"),
           std::string(".time=always"), std::string(".target=DROP"), std::string(".delete=0"),
       })
    shell_fire(set + option);
  shell_fire("uci set firewall.general.rules_count=" + number);
  shell_fire("uci set firewall.general.NextRulePos=" + std::to_string(n + 1));
  shell_fire(set + ".delete=0");
}

}  // namespace

int host_block(std::string_view mac) {
  // A package that cannot be read must not pass for a first rule of 0: the rules
  // written there would replace other hosts' rules at the next commit.
  int first = 0;
  if (int rc = cfg_get_number("firewall.@firewall[0].NextRulePos", first); rc < 0) return rc;
  const std::string quoted = shell_quote(mac);
  write_rule(first, quoted, "TCP");
  write_rule(first + 1, quoted, "UDP");
  write_rule(first + 2, quoted, "ICMP");
  // The agent's own set commits the package, command-line changes included; the
  // apply after it reports for the whole change.
  for (int n = first; n <= first + 2; ++n) static_cast<void>(cfg_set(rule(n) + ".StatusEnable", "1"));
  return cfg_apply("firewall");
}

int host_unblock(std::string_view mac) {
  int count = 0;
  if (int rc = cfg_get_number("firewall.@firewall[0].rules_count", count); rc < 0) return rc;
  for (int n = 1; n <= count; ++n) {
    if (cfg_value(rule(n) + ".mac_address") == mac && cfg_value(rule(n) + ".name") == "app_service")
      static_cast<void>(cfg_set(rule(n) + ".delete", "1"));  // the apply below reports for all
  }
  std::string text;
  if (read_text_file("/tmp/blocking", text) && first_word(text) == mac)
    static_cast<void>(write_text_file("/tmp/blocking", "0"));  // a hint for the platform, no part of the change
  return cfg_apply("firewall");
}

int host_blocking_state(ParseContext& context) {
  context.text = "Non-Blocking";
  std::string mac;
  if (int rc = host_snapshot_mac(mac, context); rc < 0) return rc;
  int rc = 0;
  const int count = leading_decimal(cfg_value("firewall.@firewall[0].rules_count", &rc));
  for (int n = 1; n <= count; ++n) {
    // Rules marked for deletion still count until the platform removes them.
    if (cfg_value(rule(n) + ".name", &rc) == "app_service" && cfg_value(rule(n) + ".mac_address", &rc) == mac) {
      context.text = "Blocking";
      break;
    }
  }
  return rc;
}

int host_parental_blocking_state(ParseContext& context) {
  context.text = "Non-Blocking";
  std::string mac;
  if (int rc = host_snapshot_mac(mac, context); rc < 0) return rc;
  const QueryTable table =
      probe_db_rows(sql_format("SELECT ExtraInfo FROM Device Device where [ALMAC]='%s' OR [DevMac]='%s';", mac));
  JsonPtr info = json_parse_object(table.cell(1, 0));
  if (json_integer(json_member(info.get(), "ParentalCtrl")) == 0) context.text = "Blocking";
  return 0;
}

}  // namespace pemo
