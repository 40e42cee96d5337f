/// What the transport's callback was called with.
#pragma once

#include <string>
#include <vector>

namespace nuoplexasupport {

/// The calls so far, one text each.
inline std::vector<std::string>& Received() {
    static std::vector<std::string> sReceived;
    return sReceived;
}

/// A callback that notes its call.
inline void NoteReceived(const std::string& inType, const std::string& inPayload, const std::string& inError,
                         const std::string& inAppId) {
    Received().push_back(inType + "|" + inPayload + "|" + inError + "|" + inAppId);
}

}  // namespace nuoplexasupport
