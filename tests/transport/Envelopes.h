/// Messages as the dispatcher delivers them.
#pragma once

#include <cstring>
#include <string>

#include "PlexaMessage5/PlexaMessage5.h"

namespace nuoplexasupport {

/// A suite or error message with an envelope as the message library writes it.
template <typename Message>
class Enveloped final : public Message {
  public:
    template <typename... Arguments>
    explicit Enveloped(const char* inType, Arguments... inArguments)
        : Message(inType, inArguments...),
          mText(std::string("<message><type>") + inType + "</type></message>") {}
    std::size_t GetMessageTextSize() const override { return mText.size() + 1; }
    void GetMessageText(char* outBuffer) const override {
        std::memcpy(outBuffer, mText.c_str(), mText.size() + 1);
    }

  private:
    std::string mText;
};

}  // namespace nuoplexasupport
