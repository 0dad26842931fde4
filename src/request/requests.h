// The three request types and the feature list.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "wire/frame.h"
#include "contract/features.h"

namespace pemo {

// Request handlers: `payload` holds `length` request bytes on entry and the reply
// text on return. Result as for request_dispatch.
[[nodiscard]] int doSysQueryReq(std::span<char, kMaxPayload> payload, int length);
[[nodiscard]] int doParaGetReq(std::span<char, kMaxPayload> payload, int length);
[[nodiscard]] int doParaSetReq(std::span<char, kMaxPayload> payload, int length);

}  // namespace pemo
