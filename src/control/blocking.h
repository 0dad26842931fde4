// Host blocking through firewall rules.
#pragma once

#include <string>
#include <string_view>

#include "request/context.h"

namespace pemo {

int host_block(std::string_view mac);
int host_unblock(std::string_view mac);
// X_Halvo_Blocking (firewall rules) and X_Halvo_Parental_Blocking of the host at
// the context's first instance, into the context's text.
int host_blocking_state(ParseContext& context);
int host_parental_blocking_state(ParseContext& context);

}  // namespace pemo
