/// The variant value model: what a message payload is once it has been decoded.
///
/// A `VariantValue` holds one of: `VariantObject`, `VariantArray`, `std::int64_t`, `std::uint64_t`, `double`,
/// `bool`, `UTF8String`, `UTF16String`, `ImmutableString`, `Guid`, or nothing. Any other type (an `int`, a
/// `long long` where `std::int64_t` is `long`, a `const char*`) is a foreign value that serialisers report.
///
/// Copies of objects and arrays are shallow: they share the values they point to. To change a value in a
/// copy, replace the pointer. Thread rule: like standard containers.
#pragma once

#include <boost/any.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/smart_ptr/allocate_shared_array.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <functional>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

#include "nuocore/Guid.h"
#include "nuocore/ImmutableString.h"
#include "nuocore/Strings.h"
#include "nuocore/export.h"

namespace nuocore::serialization {

using VariantValue = boost::any;
using VariantValuePtr = boost::shared_ptr<VariantValue>;

/// Ordered by the unsigned bytes of the keys.
using VariantObject = std::map<UTF8String, VariantValuePtr, std::less<>,
                               allocator::STLAllocator<std::pair<const UTF8String, VariantValuePtr>>>;
using VariantArray = std::vector<VariantValuePtr, allocator::STLAllocator<VariantValuePtr>>;

/// A new value on the core library's allocator.
template <typename T>
VariantValuePtr MakeValue(T&& inValue) {
    return boost::allocate_shared<VariantValue>(allocator::STLAllocator<VariantValue>(),
                                                std::forward<T>(inValue));
}

/// Puts `inValue` into the object held by `ioObject` under `inKey`. With `inKeepExisting` a key that is
/// already there keeps its value; otherwise its value is replaced (the pointer, so that copies made before
/// keep theirs). Throws `boost::bad_any_cast` when `ioObject` holds no `VariantObject`.
NUOCORE_API void AddToObject(boost::any& ioObject, const char* inKey, boost::any inValue,
                             bool inKeepExisting);

/// Whether the object has `inKey`; with `inMustHaveValue` also whether a non-empty value stands there.
NUOCORE_API bool ObjectHasProperty(const VariantObject& inObject, std::string_view inKey,
                                   bool inMustHaveValue);

/// The value under `inKey`. A key that is missing raises the assertion "v.get()" with the message "Unable to
/// find key: " and the key, and then throws `boost::bad_any_cast`.
NUOCORE_API const VariantValue& ExtractPropertyFromObject(const VariantObject& inObject,
                                                          std::string_view inKey);

/// The value under `inKey` as a `T`. Throws `boost::bad_any_cast` when it is missing or of another kind.
template <typename T>
const T& ExtractPropertyFromObject(const VariantObject& inObject, std::string_view inKey) {
    return boost::any_cast<const T&>(ExtractPropertyFromObject(inObject, inKey));
}

/// The text under `inKey`, whichever of the string kinds (`UTF8String`, `UTF16String`, `ImmutableString`)
/// holds it. Throws `boost::bad_any_cast` when it is missing or not a string.
NUOCORE_API UTF8String ExtractTextFromObject(const VariantObject& inObject, std::string_view inKey);

}  // namespace nuocore::serialization
