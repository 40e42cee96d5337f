#include "PlexaMessage5/Message.h"

#include <cstring>
#include <utility>

#include "Envelope.h"
#include "MessageAccess.h"

namespace orvane::plexa::api5 {

namespace {

std::string Text(const char* inText) { return inText == nullptr ? std::string() : std::string(inText); }

/// Sizes are asked for and buffers filled with the terminator counted.
std::size_t Size(std::string_view inText) { return inText.size() + 1; }

void Copy(std::string_view inText, char* outBuffer) {
    if (!inText.empty()) {
        std::memcpy(outBuffer, inText.data(), inText.size());
    }
    outBuffer[inText.size()] = '\0';
}

}  // namespace

PlexaMessage::PlexaMessage(std::string inType) : mType(std::move(inType)) {}
PlexaMessage::~PlexaMessage() = default;

const std::string& PlexaMessage::Envelope() const {
    if (!mEnvelope) {
        mEnvelope = std::make_shared<const std::string>(message5::EnvelopeText(mType, mSource));
    }
    return *mEnvelope;
}

std::size_t PlexaMessage::GetMessageTextSize() const { return Size(Envelope()); }
void PlexaMessage::GetMessageText(char* outBuffer) const { Copy(Envelope(), outBuffer); }

std::size_t PlexaMessage::GetAppIdSize() const { return mSource.GetAppIdSize(); }
void PlexaMessage::GetAppId(char* outBuffer) const { mSource.GetAppId(outBuffer); }

void PlexaMessage::SetSource(const EndPoint& inSource) {
    mSource = inSource;
    mEnvelope.reset();
}
const EndPoint& PlexaMessage::GetSource() const { return mSource; }

void PlexaMessage::SetEnvelope(std::shared_ptr<const std::string> inEnvelope) {
    mEnvelope = std::move(inEnvelope);
}

SuiteMessage::SuiteMessage(const char* inType) : PlexaMessage(Text(inType)) {}
SuiteMessage::~SuiteMessage() = default;

void SuiteMessage::SetPayload(const char* inPayload) {
    mPayload = Text(inPayload);
    mReceivedPayload = {};
}
std::size_t SuiteMessage::GetPayloadSize() const { return Size(MessageAccess::Payload(*this)); }
void SuiteMessage::GetPayload(char* outBuffer) const { Copy(MessageAccess::Payload(*this), outBuffer); }

void SuiteMessage::SetDestination(const EndPoint& inDestination) { mDestination = inDestination; }
const EndPoint& SuiteMessage::GetDestination() const { return mDestination; }

ErrorMessage::ErrorMessage(const char* inType, const char* inError, const char* inFault)
    : PlexaMessage(Text(inType)), mError(Text(inError)), mFault(Text(inFault)) {}
ErrorMessage::~ErrorMessage() = default;

std::size_t ErrorMessage::GetErrorSize() const { return Size(mError); }
void ErrorMessage::GetError(char* outBuffer) const { Copy(mError, outBuffer); }
std::size_t ErrorMessage::GetFaultSize() const { return Size(mFault); }
void ErrorMessage::GetFault(char* outBuffer) const { Copy(mFault, outBuffer); }

}  // namespace orvane::plexa::api5
