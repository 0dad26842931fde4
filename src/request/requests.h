// The three request types and the feature list.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "core/frame.h"
#include "request/features.h"

namespace pemo {

// A reply that would not fit the 4092-byte payload is not sent; the request is
// answered with this status instead (the frame's "length out of range").
inline constexpr int kStatusReplyTooLong = kStatusBadLength;
// A worker thread could not be started.
inline constexpr int kStatusWorker = -26;
inline constexpr int kStatusMagicMismatch = -4;
inline constexpr int kStatusVersionFail = -3;

// Request handlers: `payload` holds `length` request bytes on entry and the reply
// text on return. Result as for request_dispatch.
int doSysQueryReq(std::span<char, kMaxPayload> payload, int length);
int doParaGetReq(std::span<char, kMaxPayload> payload, int length);
int doParaSetReq(std::span<char, kMaxPayload> payload, int length);

}  // namespace pemo
