// Device control actions.
#pragma once

#include "contract/context.h"

namespace pemo {

[[nodiscard]] int action_param_handler(std::string_view name, std::string_view value, ParseContext& context);

}  // namespace pemo
