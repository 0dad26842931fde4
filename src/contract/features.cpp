#include "contract/features.h"

#include <json-c/json.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "platform/json.h"
#include "platform/lifetime.h"

namespace pemo {
namespace {

struct FeatureState {
  JsonPtr document;
  std::string response;
  double app_version = 0;
};

// Written once by start-up before any thread runs, read-only afterwards.
FeatureState& features() { return process_lifetime<FeatureState>(); }

}  // namespace

int sys_query_response_init(const char* path) {
  FeatureState& state = features();
  if (access(path, F_OK) != 0) {
    std::printf("%s : No feature list\n", "sys_query_response_init");
    return -1;
  }
  JsonPtr document(json_object_from_file(path));
  if (!document) {
    std::printf("%s : Parse json error\n", "sys_query_response_init");
    return -1;
  }
  json_object* level = document.get();
  for (const char* key : {"Device", "X_Halvo_Ext", "AppInfo"}) {
    if (!json_object_is_type(level, json_type_object) ||
        !json_object_object_get_ex(level, key, &level))
      level = nullptr;
  }
  json_object* version = nullptr;
  // Without its AppVersion the list cannot be what the device ships: refuse to start.
  if (!json_object_is_type(level, json_type_object) ||
      !json_object_object_get_ex(level, "AppVersion", &version)) {
    std::printf("%s : No AppVersion in feature list\n", "sys_query_response_init");
    return -1;
  }
  // A text is read as it stands, any other value as its JSON form.
  const std::string version_text(json_text(version).value_or(json_object_to_json_string(version)));
  state.app_version = std::atof(version_text.c_str());
  json_object_object_add(level, "MagicNum", json_object_new_string(kMagicNumber));
  state.response = json_object_to_json_string(document.get());
  state.document = std::move(document);
  return 0;
}

double app_version() { return features().app_version; }

const std::string& feature_response() { return features().response; }

}  // namespace pemo
