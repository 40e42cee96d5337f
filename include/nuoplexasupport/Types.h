/// The core library's types in the signatures of this library, under this library's namespace.
#pragma once

#include "nuocore/Guid.h"
#include "nuocore/ImmutableString.h"
#include "nuocore/Strings.h"
#include "nuocore/Variant.h"

namespace nuoplexasupport {

using nuocore::ImmutableString;
using nuocore::UTF16String;
using nuocore::UTF8String;
using nuocore::serialization::VariantArray;
using nuocore::serialization::VariantObject;
using nuocore::serialization::VariantValue;
using nuocore::utility::Guid;

}  // namespace nuoplexasupport
