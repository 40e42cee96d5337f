/// A client that waits for an answer.
#pragma once

#include <memory>
#include <utility>

#include "Mailbox.h"
#include "nuoplexasupport/IPlexaClient.h"

namespace orvane::plexa::tool {

/// Puts the answers' dictionaries into a mailbox, which it keeps: an answer may be on its way while nobody
/// waits for it any more.
class Asker final : public nuoplexasupport::IPlexaClient {
  public:
    using Answers = Mailbox<nuocore::serialization::VariantObject>;

    explicit Asker(std::shared_ptr<Answers> inAnswers) : mAnswers(std::move(inAnswers)) {}

    void ReceiveResponse(const nuocore::ImmutableString& /*inMessageType*/,
                         const nuocore::utility::Guid& /*inRequestId*/,
                         const nuocore::serialization::VariantObject& inPayload,
                         const nuocore::UTF8String& /*inErrorText*/) override {
        mAnswers->Put(inPayload);
    }

  private:
    std::shared_ptr<Answers> mAnswers;
};

}  // namespace orvane::plexa::tool
