// Owning handle for json-c objects.
#pragma once

#include <json-c/json.h>

#include <memory>

namespace pemo {

struct JsonRelease {
  void operator()(json_object* object) const { json_object_put(object); }
};
using JsonPtr = std::unique_ptr<json_object, JsonRelease>;

}  // namespace pemo
