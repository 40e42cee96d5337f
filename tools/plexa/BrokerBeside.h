/// Finding the broker that came with this tool.
#pragma once

namespace orvane::plexa::tool {

/// When the environment says nothing of where the broker stands, and it stands in the folder of libraries
/// beside this program, says so in the environment: a build tree and a moved installation work as they are.
/// To be called before there are threads.
void UseBrokerBeside();

}  // namespace orvane::plexa::tool
