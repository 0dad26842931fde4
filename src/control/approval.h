// Auto-configuration approval and new-device lists.
#pragma once

#include <string_view>

#include "contract/context.h"

namespace pemo {

// Members of WiFiAutoCfgApprove and WiFiAutoCfgApproveData.{i}.
[[nodiscard]] int approval_update(int node_index, std::string_view value, ParseContext& context);
// Members of NewDeviceCheckedList.{i}.
[[nodiscard]] int checked_list_update(int node_index, std::string_view value, ParseContext& context);
// WiFiAutoCfgApprove.Enable, into the context's text.
[[nodiscard]] int approve_flag_get(ParseContext& context);

}  // namespace pemo
