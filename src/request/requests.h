// The three request types and the feature list.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "core/frame.h"
#include "request/features.h"

namespace pemo {

// Request handlers: `payload` holds `length` request bytes on entry and the reply
// text on return. Result as for request_dispatch.
int doSysQueryReq(std::span<char, kMaxPayload> payload, int length);
int doParaGetReq(std::span<char, kMaxPayload> payload, int length);
int doParaSetReq(std::span<char, kMaxPayload> payload, int length);

}  // namespace pemo
