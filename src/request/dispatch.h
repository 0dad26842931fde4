// Entry from the session layer into request processing.
#pragma once

#include <span>

#include "wire/frame.h"

namespace pemo {

// Serves one deciphered request. `payload` is the connection's payload area: on
// entry its first `length` bytes are the request text, on return it holds the reply
// text. Stores the reply type into `reply` for the known request types.
// Result: the reply text's length (> 0); 1 for the "{}" reply followed by a close;
// 0 or a negative status for a reply without payload.
[[nodiscard]] int request_dispatch(const FrameHeader& request, FrameHeader& reply,
                     std::span<char, kMaxPayload> payload, int length);

}  // namespace pemo
