#include "VariantBuilder.h"

#include <charconv>
#include <cmath>
#include <utility>

namespace nuocore::serialization {

template <typename T>
VariantValue* VariantBuilder::Place(T&& inValue, Error& outError) {
    if (mValuesLeft == 0) {
        Refuse("too many values", outError);
        return nullptr;
    }
    --mValuesLeft;
    VariantValuePtr value = MakeValue(std::forward<T>(inValue));
    VariantValue* const placed = value.get();
    if (mFrames.empty()) {
        mRoot = std::move(value);
    } else if (Frame& frame = mFrames.back(); frame.mArray != nullptr) {
        frame.mArray->push_back(std::move(value));
    } else {
        // Keys often come in ascending order; the hint makes that the quick case.
        frame.mObject->insert_or_assign(frame.mObject->end(), std::move(frame.mKey), std::move(value));
    }
    return placed;
}

bool VariantBuilder::Refuse(const char* inReason, Error& outError) {
    mRefusal = inReason;
    outError = boost::json::error::exception;
    return false;
}

bool VariantBuilder::on_object_begin(Error& outError) {
    VariantValue* const value = Place(VariantObject(), outError);
    if (value == nullptr) {
        return false;
    }
    mFrames.push_back({boost::any_cast<VariantObject>(value), nullptr, {}});
    return true;
}

bool VariantBuilder::on_object_end(std::size_t /*inCount*/, Error& /*outError*/) {
    mFrames.pop_back();
    return true;
}

bool VariantBuilder::on_array_begin(Error& outError) {
    VariantValue* const value = Place(VariantArray(), outError);
    if (value == nullptr) {
        return false;
    }
    mFrames.push_back({nullptr, boost::any_cast<VariantArray>(value), {}});
    return true;
}

bool VariantBuilder::on_array_end(std::size_t /*inCount*/, Error& /*outError*/) {
    mFrames.pop_back();
    return true;
}

bool VariantBuilder::on_key_part(Text inPart, std::size_t /*inSize*/, Error& /*outError*/) {
    mText.append(inPart.data(), inPart.size());
    return true;
}

bool VariantBuilder::on_key(Text inPart, std::size_t /*inSize*/, Error& /*outError*/) {
    UTF8String& key = mFrames.back().mKey;
    key.assign(mText);
    key.append(inPart.data(), inPart.size());
    mText.clear();
    return true;
}

bool VariantBuilder::on_string_part(Text inPart, std::size_t /*inSize*/, Error& /*outError*/) {
    mText.append(inPart.data(), inPart.size());
    return true;
}

bool VariantBuilder::on_string(Text inPart, std::size_t /*inSize*/, Error& outError) {
    if (mText.empty()) {
        return Add(UTF8String(inPart.data(), inPart.size()), outError);
    }
    mText.append(inPart.data(), inPart.size());
    return Add(std::exchange(mText, {}), outError);
}

bool VariantBuilder::on_number_part(Text inPart, Error& /*outError*/) {
    mNumber.append(inPart.data(), inPart.size());
    return true;
}

bool VariantBuilder::on_int64(std::int64_t inValue, Text /*inText*/, Error& outError) {
    mNumber.clear();
    return Add(inValue, outError);
}

bool VariantBuilder::on_uint64(std::uint64_t inValue, Text /*inText*/, Error& outError) {
    mNumber.clear();
    return Add(inValue, outError);
}

bool VariantBuilder::on_double(double inValue, Text inText, Error& outError) {
    // The parser's own value may be off in the last digit, so its text is read again.
    mNumber.append(inText.data(), inText.size());
    double value = 0;
    const auto [end, error] = std::from_chars(mNumber.data(), mNumber.data() + mNumber.size(), value);
    mNumber.clear();
    if (error == std::errc::result_out_of_range) {
        if (std::fabs(inValue) > 1) {
            return Refuse("number too large", outError);
        }
        value = std::copysign(0.0, inValue);
    }
    return Add(value, outError);
}

bool VariantBuilder::on_bool(bool inValue, Error& outError) { return Add(inValue, outError); }

bool VariantBuilder::on_null(Error& outError) { return Add(VariantValue(), outError); }

}  // namespace nuocore::serialization
