// Diagnostics and WAN information.
#pragma once

#include "contract/context.h"

namespace pemo {

[[nodiscard]] int diag_param_handler(std::string_view name, std::string_view value, ParseContext& context);

}  // namespace pemo
