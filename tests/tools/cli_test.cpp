// pemo-cli's paths: one document typed by the agent's tree, or a local refusal.
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

TEST(CliPaths, WhatTheTreeDoesNotTakeIsRefusedLocally) {
  for (const auto& [words, set, why] : std::vector<std::tuple<std::vector<std::string>, bool, std::string>>{
           {{"Device.WiFi.Nope"}, false, "no Device.WiFi.Nope in the agent's tree (below Device.WiFi: SSID, "},
           {{"Device.WiFi.SSID.0.SSID"}, false, "no Device.WiFi.SSID.0 "},
           {{"Device.WiFi"}, false, "Device.WiFi is an object: end it with '.'"},
           {{"Device.WiFi.SSID.1.SSID"}, true, "a set takes PATH=VALUE"},
           {{"Device.WiFi.SSID.1.Enable=2147483648"}, true, "Device.WiFi.SSID.1.Enable takes an integer"},
       }) {
    const std::string result = built(words, set);
    EXPECT_EQ(result.rfind("error: " + why, 0), 0u) << words[0] << " gave " << result;
  }
}

// --band puts CheckFreqBand first in every object that takes one and has none.
TEST(CliPaths, TheBandGoesFirstWhereItIsTakenAndMissing) {
  EXPECT_EQ(built({"Device.WiFi.SSID.1.SSID", "Device.WiFi.AccessPoint.1.Security.CheckFreqBand=24G",
                   "Device.WiFi.AccessPoint.1.Security.PreShareKey", "Device.WiFi.RadioNumberOfEntries"},
                  false, "5G"),
            R"({"Device":{"WiFi":{"SSID":{"i1":{"CheckFreqBand":"5G","SSID":""}},"AccessPoint":{"i1":{"Security":)"
            R"({"CheckFreqBand":"24G","PreShareKey":""}}},"RadioNumberOfEntries":0}}})");
}

}  // namespace
}  // namespace pemo::cli
