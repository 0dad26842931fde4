// One request document walked in-process, as doParaGetReq and doParaSetReq walk it.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "platform/json.h"
#include "request/parser.h"

namespace pemo::test {

inline constexpr bool kSet = true;

struct Walk {
  int result = 0;     // the walk's result: negative ends the request with that status
  std::string reply;  // the document after the walk, compact
  ParseContext context;
};

inline Walk walk(const std::string& text, bool set_request = false) {
  Walk w;
  JsonPtr document(json_tokener_parse(text.c_str()));
  if (!document) {
    w.result = -2;
    return w;
  }
  w.context = new_parse_context(set_request);
  w.result = message_parser(document.get(), w.context);
  w.reply = json_object_to_json_string_ext(document.get(), JSON_C_TO_STRING_PLAIN);
  return w;
}

// Walks {"Device":{"A":{"B":<object>}}} for `names` {"A","B"} (a set when
// `set_request`): what the walk left of <object>, or "<status>".
inline std::string below(std::initializer_list<std::string_view> names, const std::string& object,
                         bool set_request = false) {
  std::string prefix = R"({"Device":)";
  for (std::string_view name : names) prefix += "{\"" + std::string(name) + "\":";
  const std::size_t closing = names.size() + 1;
  const Walk w = walk(prefix + object + std::string(closing, '}'), set_request);
  if (w.result < 0) return "<" + std::to_string(w.result) + ">";
  return w.reply.substr(prefix.size(), w.reply.size() - prefix.size() - closing);
}

inline std::string device(const std::string& object, bool set_request = false) {
  return below({}, object, set_request);
}

// Walks {"Device":{"X_Halvo_Ext":{<members>}}}: what the walk left of {<members>}.
inline std::string ext(const std::string& members, bool set_request = false) {
  return below({"X_Halvo_Ext"}, "{" + members + "}", set_request);
}

}  // namespace pemo::test
