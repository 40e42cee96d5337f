/// What XML can hold of a dictionary. The codec writes names as they are, readable or not.
#pragma once

#include <string>
#include <string_view>

#include "nuocore/Variant.h"

namespace orvane::plexa::tool {

/// What keeps a dictionary from being read again once it is written under that root tag: a name that is none
/// in XML, a text with characters that XML can't hold, or an attribute that is a dictionary. Empty when
/// nothing does. Kinds without an XML form are left to the codec, which complains about them.
std::string XMLTrouble(const nuocore::serialization::VariantObject& inDictionary, std::string_view inRootTag);

}  // namespace orvane::plexa::tool
