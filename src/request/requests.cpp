#include "request/requests.h"

#include <json-c/json.h>
#include <unistd.h>

#include <cstdio>
#include <thread>
#include <cstdlib>
#include <cstring>

#include "platform/cfg.h"
#include "platform/clock.h"
#include "platform/json.h"
#include "platform/log.h"
#include "platform/thread.h"
#include "quicksetup/quicksetup.h"
#include "request/parser.h"

namespace pemo {
namespace {

int copy_reply(std::string_view text, std::span<char, kMaxPayload> payload) {
  if (text.size() > payload.size()) return kStatusBadLength;
  std::memcpy(payload.data(), text.data(), text.size());
  return static_cast<int>(text.size());
}

// Parses the request and walks it. On success `document` holds the walked
// document and the result is 0; else the status to answer.
int parse_and_walk(const char* handler, std::span<char, kMaxPayload> payload, int length,
                   bool set_request, JsonPtr& document, ParseContext& context) {
  // The payload area has no room for a terminator after 4092 bytes: parse a copy.
  const std::string text(payload.data(), static_cast<std::size_t>(length));
  document.reset(json_tokener_parse(text.c_str()));
  // Only an object can be walked against the tree.
  if (!document || !json_object_is_type(document.get(), json_type_object)) return kStatusBadJson;
  log_msg(kLogInfo, "%s : \n", handler);
  context = new_parse_context(set_request);
  return std::min(message_parser(document.get(), context), 0);
}

int serialise(const JsonPtr& document, std::span<char, kMaxPayload> payload) {
  return copy_reply(json_object_to_json_string(document.get()), payload);
}

}  // namespace

int doSysQueryReq(std::span<char, kMaxPayload> payload, int length) {
  JsonPtr document;
  ParseContext context;
  if (int r = parse_and_walk("doSysQueryReq", payload, length, false, document, context); r < 0)
    return r;
  if ((context.flags & kFlagMagicMismatch) != 0) return kStatusMagicMismatch;
  if ((context.flags & kFlagVersionFail) != 0) return kStatusVersionFail;
  return copy_reply(feature_response(), payload);
}

int doParaGetReq(std::span<char, kMaxPayload> payload, int length) {
  JsonPtr document;
  ParseContext context;
  if (int r = parse_and_walk("doParaGetReq", payload, length, false, document, context); r < 0)
    return r;
  return serialise(document, payload);
}

int doParaSetReq(std::span<char, kMaxPayload> payload, int length) {
  JsonPtr document;
  ParseContext context;
  if (int r = parse_and_walk("doParaSetReq", payload, length, true, document, context); r < 0)
    return r;
  if ((context.flags & kFlagWifiApply) != 0) {
    // The reply leaves before Wi-Fi restarts: the session answers "{}" and closes.
    int rc = spawn_detached([] {
      clock_sleep(std::chrono::seconds(1));
      static_cast<void>(apply_wireless());  // the reply has gone: nobody is left to tell
    });
    return rc == 0 ? 1 : log_status(kActionFailed, "the Wi-Fi apply could not be started");
  }
  if ((context.flags & kFlagWan) != 0) {
    int rc = spawn_detached([] {
      clock_sleep(std::chrono::seconds(1));
      static_cast<void>(wan_apply());  // the reply has gone: nobody is left to tell
    });
    return rc == 0 ? 0 : log_status(kActionFailed, "the WAN apply could not be started");
  }
  return serialise(document, payload);
}

}  // namespace pemo
