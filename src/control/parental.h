// Parental-control rules: the rule values served through the UCI-backed nodes.
#pragma once

#include <string_view>

#include "contract/context.h"

namespace pemo {

// X_Halvo_AddPcpRule of a host: adds a parental rule for the host's MAC.
[[nodiscard]] int parental_rule_add(std::string_view value, ParseContext& context);

// Value of a rule member (ParentalControl.{i}.*) into the context's text.
[[nodiscard]] int parental_rule_value_get(std::string_view name, ParseContext& context);
// Writes a rule member.
[[nodiscard]] int parental_rule_value_set(std::string_view name, std::string_view value, ParseContext& context);

}  // namespace pemo
