/// Builds a variant from the events of Boost.JSON's push parser.
#pragma once

#include <boost/json/error.hpp>
#include <boost/json/string_view.hpp>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "nuocore/JSON.h"

namespace nuocore::serialization {

/// The handler that `boost::json::basic_parser` calls. Texts and numbers may come in parts; a part is kept
/// only when there is more than one.
class VariantBuilder {
  public:
    using Error = boost::json::error_code;
    using Text = boost::json::string_view;

    // The parser asks for these; the limits of the whole text and of the values bound them all.
    static constexpr std::size_t max_object_size = static_cast<std::size_t>(-1);
    static constexpr std::size_t max_array_size = static_cast<std::size_t>(-1);
    static constexpr std::size_t max_key_size = static_cast<std::size_t>(-1);
    static constexpr std::size_t max_string_size = static_cast<std::size_t>(-1);

    explicit VariantBuilder(std::size_t inMaxValues) : mValuesLeft(inMaxValues) {}

    /// The finished value.
    VariantValuePtr TakeRoot() { return std::move(mRoot); }
    /// What this builder didn't accept; null when it was the parser that stopped.
    [[nodiscard]] const char* Refusal() const { return mRefusal; }

    bool on_document_begin(Error& /*outError*/) { return true; }
    bool on_document_end(Error& /*outError*/) { return true; }
    bool on_object_begin(Error& outError);
    bool on_object_end(std::size_t inCount, Error& outError);
    bool on_array_begin(Error& outError);
    bool on_array_end(std::size_t inCount, Error& outError);
    bool on_key_part(Text inPart, std::size_t inSize, Error& outError);
    bool on_key(Text inPart, std::size_t inSize, Error& outError);
    bool on_string_part(Text inPart, std::size_t inSize, Error& outError);
    bool on_string(Text inPart, std::size_t inSize, Error& outError);
    bool on_number_part(Text inPart, Error& outError);
    bool on_int64(std::int64_t inValue, Text inText, Error& outError);
    bool on_uint64(std::uint64_t inValue, Text inText, Error& outError);
    bool on_double(double inValue, Text inText, Error& outError);
    bool on_bool(bool inValue, Error& outError);
    bool on_null(Error& outError);
    bool on_comment_part(Text /*inPart*/, Error& /*outError*/) { return true; }
    bool on_comment(Text /*inPart*/, Error& /*outError*/) { return true; }

  private:
    /// An object or array that is open. One of the two pointers is set, into the value that its parent holds
    /// already.
    struct Frame {
        VariantObject* mObject = nullptr;
        VariantArray* mArray = nullptr;
        UTF8String mKey;  ///< of the value that comes next
    };

    /// Puts a value where it belongs; null when there are too many.
    template <typename T>
    VariantValue* Place(T&& inValue, Error& outError);
    template <typename T>
    bool Add(T&& inValue, Error& outError) {
        return Place(std::forward<T>(inValue), outError) != nullptr;
    }
    bool Refuse(const char* inReason, Error& outError);

    std::size_t mValuesLeft;
    const char* mRefusal = nullptr;
    VariantValuePtr mRoot;
    std::vector<Frame> mFrames;
    UTF8String mText;    ///< the parts so far of a key or string
    UTF8String mNumber;  ///< the parts so far of a number
};

}  // namespace nuocore::serialization
