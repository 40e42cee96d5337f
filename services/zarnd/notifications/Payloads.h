/// Payloads of the messages about notifications. No I/O.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "bus/Payload.h"
#include "notifications/Observers.h"

namespace orvane::plexa::zarnd {

/// Texts longer than this name no kind of notifications and no observer.
inline constexpr std::size_t kMaxKindBytes = 1024;

/// What a host says of an observer.
struct Registration {
    bool mIsRegistered = false;  ///< or taken back
    Observer mObserver;
};
/// Reads "NEMessage". Throws `PayloadError`.
Registration ReadRegistration(std::string_view inText);

/// A value of a notification: a text, or further values.
struct SignalValue {
    std::string mText;
    std::map<std::string, SignalValue> mParts;
};
/// A notification that is to be told.
struct Signal {
    std::string mType;
    std::string mSubType;
    std::map<std::string, SignalValue> mValues;
};
/// Takes a notification out of the texts of a payload. Throws `PayloadError`.
Signal ReadSignal(const PayloadTexts& inTexts);

/// A notification as observers get it: XML that readers recognise as one. Throws `PayloadError` when XML has
/// no form for it.
std::string WriteSignal(const Signal& inSignal);

}  // namespace orvane::plexa::zarnd
