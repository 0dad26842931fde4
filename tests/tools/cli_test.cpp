// pemo-cli's paths: one document typed by the agent's tree (its refusals are in
// examples/cli-refusals.batch).
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
