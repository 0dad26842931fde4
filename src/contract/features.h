// The feature list: loaded once at start-up, read-only afterwards.
#pragma once

#include <string>

namespace pemo {

inline constexpr const char* kFeatureFile = "/etc/pemo-agent/feature.json";
// The application the agent serves announces this magic number and this version.
inline constexpr const char* kMagicNumber = "Q5190";
inline constexpr int kServedAppVersion = 1;

// Loads the feature list once at start-up. 0, or -1 when the file is missing, is
// not JSON, or lacks Device.X_Halvo_Ext.AppInfo.AppVersion (a message says which).
[[nodiscard]] int sys_query_response_init(const char* path = kFeatureFile);
// AppVersion of the feature list, as a number.
double app_version();
// The serialised feature list, "MagicNum" included.
const std::string& feature_response();

}  // namespace pemo
