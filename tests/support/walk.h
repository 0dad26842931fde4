// One request document walked in-process, as doParaGetReq and doParaSetReq walk it.
#pragma once

#include <string>

#include "platform/json.h"
#include "request/parser.h"

namespace pemo::test {

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

}  // namespace pemo::test
