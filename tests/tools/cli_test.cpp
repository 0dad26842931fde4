// pemo-cli's documents: paths typed by the tree, documents in any layout, replies as lines.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "pemo-cli/document.h"

namespace pemo::cli {
namespace {

// The compact document that `words` build, or "error: ..." for the first refused.
std::string built(std::vector<std::string> words, bool set = false, std::string_view band = "") {
  JsonPtr root(json_object_new_object());
  std::string error;
  for (const std::string& word : words)
    if (!(set ? add_set(root.get(), word, error) : add_get(root.get(), word, error))) return "error: " + error;
  if (!band.empty()) add_band(root.get(), band);
  return json_object_to_json_string_ext(root.get(), JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
}

TEST(CliPaths, BuildOneDocumentInTheOrderGivenTypedByTheTree) {
  EXPECT_EQ(built({"Device.WiFi.SSID.2.SSID", "Device.WiFi.RadioNumberOfEntries", "Device.WiFi.SSID.2.Enable"}),
            R"({"Device":{"WiFi":{"SSID":{"i2":{"SSID":"","Enable":0}},"RadioNumberOfEntries":0}}})");
  EXPECT_EQ(built({"Device.WiFi.SSID.1.SSID=a=b \"c\"/d", "Device.WiFi.Radio.12.Channel=-6"}, true),
            R"({"Device":{"WiFi":{"SSID":{"i1":{"SSID":"a=b \"c\"/d"}},"Radio":{"i12":{"Channel":-6}}}}})");
  EXPECT_EQ(built({"Device.IP.Diagnostics.TraceRoute.Host=9.9.9.9"}),
            R"({"Device":{"IP":{"Diagnostics":{"TraceRoute":{"Host":"9.9.9.9"}}}}})");
  // A subtree takes every readable leaf, instance tables as their first instance.
  const std::string host = built({"Device.Hosts.Host.3."});
  EXPECT_EQ(host.rfind(R"({"Device":{"Hosts":{"Host":{"i3":{"PhysAddress":"","HostName":"",)", 0), 0u) << host;
  EXPECT_EQ(host.find("X_Halvo_AddPcpRule"), std::string::npos) << "a command is no value to read";
  EXPECT_NE(built({"Device.IP.Diagnostics.TraceRoute."}).find(R"("RouteHops":{"i1":{"Host":"")"), std::string::npos);
}

TEST(CliPaths, BandGoesFirstWhereTheTreeHasIt) {
  EXPECT_EQ(built({"Device.WiFi.SSID.1.SSID", "Device.WiFi.AccessPoint.1.Security.PreShareKey",
                   "Device.WiFi.RadioNumberOfEntries"},
                  false, "5G"),
            R"({"Device":{"WiFi":{"SSID":{"i1":{"CheckFreqBand":"5G","SSID":""}},)"
            R"("AccessPoint":{"i1":{"Security":{"CheckFreqBand":"5G","PreShareKey":""}}},"RadioNumberOfEntries":0}}})");
  // One the request names already stays where it is, with its value.
  EXPECT_EQ(built({"Device.WiFi.SSID.1.SSID", "Device.WiFi.SSID.1.CheckFreqBand=24G"}, false, "5G"),
            R"({"Device":{"WiFi":{"SSID":{"i1":{"SSID":"","CheckFreqBand":"24G"}}}}})");
}

TEST(CliPaths, WhatTheTreeDoesNotTakeIsRefusedLocally) {
  for (const auto& [words, set, why] : std::vector<std::tuple<std::vector<std::string>, bool, std::string>>{
           {{"Device.WiFi.Nope"}, false, "no Device.WiFi.Nope in the agent's tree (below Device.WiFi: SSID, "},
           {{"Device.WiFi.SSID.0.SSID"}, false, "no Device.WiFi.SSID.0 "},
           {{"Device.WiFi.SSID.i1.SSID"}, false, "no Device.WiFi.SSID.i1 "},
           {{"WiFi.SSID"}, false, "no WiFi in the agent's tree"},
           {{"Device.WiFi"}, false, "Device.WiFi is an object: end it with '.'"},
           {{"Device.WiFi.RadioNumberOfEntries."}, false, "Device.WiFi.RadioNumberOfEntries is a leaf"},
           {{"Device.WiFi.SSID.1.SSID"}, true, "a set takes PATH=VALUE"},
           {{"Device.WiFi.SSID.1.=x"}, true, "a value belongs to one leaf"},
           {{"Device.WiFi.SSID.1.Enable=1x"}, true, "Device.WiFi.SSID.1.Enable takes an integer, not '1x'"},
           {{"Device.WiFi.SSID.1.Enable=2147483648"}, true, "Device.WiFi.SSID.1.Enable takes an integer"},
       }) {
    const std::string result = built(words, set);
    EXPECT_EQ(result.rfind("error: " + why, 0), 0u) << words[0] << " gave " << result;
  }
}

TEST(CliDocuments, AnyLayoutIsAcceptedAndErrorsNameTheirPlace) {
  JsonPtr document;
  std::string error;
  ASSERT_TRUE(parse_document("{\n  \"Device\": {\n    \"WiFi\": {}\n  }\n}\n", document, error)) << error;
  EXPECT_STREQ(json_object_to_json_string_ext(document.get(), JSON_C_TO_STRING_PLAIN), R"({"Device":{"WiFi":{}}})");
  for (const auto& [text, place] : std::vector<std::pair<std::string, std::string>>{
           {"{\n  \"Device\": {\n    \"WiFi\": {,}\n", "line 3, column 14: "},
           {"{\"Device\":{}", "line 1, column 13: the document ends too early"},
           {"{\"Device\":{}}\n{}", "line 2, column 1: more text after the document"},
       }) {
    EXPECT_FALSE(parse_document(text, document, error)) << text;
    EXPECT_EQ(error.rfind(place, 0), 0u) << text << " gave " << error;
    EXPECT_EQ(document, nullptr);
  }
}

TEST(CliDocuments, MembersTheTreeDoesNotTakeAreNamed) {
  JsonPtr document;
  std::string error;
  ASSERT_TRUE(parse_document(R"({"Device":{"WiFi":{"SSID":{"i2":{"SSID":1,"Bogus":""},"i0":{}},"RadioNumberOfEntries":0},)"
                             R"("Hosts":{"Host":{"i1":{"HostName":""}}}},"Other":{}})",
                             document, error));
  EXPECT_EQ(unknown_members(document.get()),
            (std::vector<std::string>{
                "Device.WiFi.SSID.i2.SSID: the agent takes a text here, and passes over anything else",
                "Device.WiFi.SSID.i2.Bogus: not in the agent's tree", "Device.WiFi.SSID.i0: not in the agent's tree",
                "Other: not in the agent's tree"}));
}

TEST(CliReplies, PathLinesKeepEveryValueOnOneLine) {
  JsonPtr reply(json_tokener_parse(
      R"({"Device":{"WiFi":{"SSID":{"i12":{"SSID":"a \"b\"\nc/d","Enable":1}},"i":{"x":""}}}})"));
  EXPECT_EQ(format_reply(reply.get(), Layout::kPaths),
            "Device.WiFi.SSID.12.SSID=a \\\"b\\\"\\nc/d\nDevice.WiFi.SSID.12.Enable=1\nDevice.WiFi.i.x=\n");
  EXPECT_EQ(format_reply(reply.get(), Layout::kCompact),
            R"({"Device":{"WiFi":{"SSID":{"i12":{"SSID":"a \"b\"\nc/d","Enable":1}},"i":{"x":""}}}})" "\n");
}

}  // namespace
}  // namespace pemo::cli
