/// What the control library traces, in the category "PlexaControl".
#pragma once

#include <string_view>

namespace orvane::plexa::control {

/// One line, level 1: what a user should know. Left out when there is no memory for it. Any thread.
void TraceTrouble(std::string_view inText) noexcept;

}  // namespace orvane::plexa::control
