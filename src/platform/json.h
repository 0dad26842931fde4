// Owning handle for json-c objects, and the only readers of JSON values.
//
// json-c gives a JSON null as a null object, and its raw getters convert between
// types (a text "1", true and 1.5 all read as the integer 1; a null reads as a null
// text). Values that other programs wrote (the probe daemon's ExtraInfo, files
// under /tmp) are read only through the typed readers below, which answer nothing
// for any other type. scripts/check-sources.sh keeps the raw getters in this file.
#pragma once

#include <json-c/json.h>

#include <memory>
#include <optional>
#include <string_view>

namespace pemo {

struct JsonRelease {
  void operator()(json_object* object) const { json_object_put(object); }
};
using JsonPtr = std::unique_ptr<json_object, JsonRelease>;

// The text of a JSON string; nothing for any other type, null included.
inline std::optional<std::string_view> json_text(json_object* value) {
  if (!json_object_is_type(value, json_type_string)) return std::nullopt;
  return std::string_view(json_object_get_string(value),
                          static_cast<std::size_t>(json_object_get_string_len(value)));
}

// The value of a JSON integer (clamped to int as json-c does); nothing for any
// other type: not for the text "1", true or 1.5.
inline std::optional<int> json_integer(json_object* value) {
  if (!json_object_is_type(value, json_type_int)) return std::nullopt;
  return json_object_get_int(value);
}

// A member of an object; null when `object` is no object or has no such member.
inline json_object* json_member(json_object* object, const char* key) {
  json_object* value = nullptr;
  if (!json_object_is_type(object, json_type_object) || !json_object_object_get_ex(object, key, &value))
    return nullptr;
  return value;
}

// Text that should hold a JSON object (absent, unparsable or another type: null).
inline JsonPtr json_parse_object(const char* text) {
  if (text == nullptr) return nullptr;
  JsonPtr object(json_tokener_parse(text));
  if (!json_object_is_type(object.get(), json_type_object)) return nullptr;
  return object;
}

// A C string that may be null, as text (empty for null): the one way such a
// pointer becomes a std::string.
inline std::string_view c_text(const char* text) { return text != nullptr ? text : std::string_view(); }

}  // namespace pemo
