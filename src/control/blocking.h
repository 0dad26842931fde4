// Host blocking through firewall rules.
#pragma once

#include <string>
#include <string_view>

#include "contract/context.h"

namespace pemo {

[[nodiscard]] int host_block(std::string_view mac);
[[nodiscard]] int host_unblock(std::string_view mac);
// X_Halvo_Blocking (firewall rules) and X_Halvo_Parental_Blocking of the host at
// the context's first instance, into the context's text.
[[nodiscard]] int host_blocking_state(ParseContext& context);
[[nodiscard]] int host_parental_blocking_state(ParseContext& context);

}  // namespace pemo
