/// What the control library traces, in the category "PlexaControl".
#pragma once

#include <string_view>

namespace orvane::plexa::control {

/// One line, level 1: what a user should know. Any thread.
void TraceTrouble(std::string_view inText);

}  // namespace orvane::plexa::control
