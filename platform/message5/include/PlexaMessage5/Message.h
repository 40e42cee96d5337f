/// Messages as they are sent and received.
///
/// Texts are fetched by a size query followed by a copy: `GetXSize` gives the bytes that `GetX` writes, the
/// terminating NUL included. Thread rule: one message is used by one thread at a time. A received message is
/// valid during `Receive` only.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "PlexaMessage5/EndPoint.h"
#include "PlexaMessage5/Export.h"

namespace orvane::plexa::api5 {

/// What every message has: a sender and an envelope.
class PLEXA_MESSAGE5_API PlexaMessage {
  public:
    PlexaMessage(const PlexaMessage&) = delete;
    PlexaMessage& operator=(const PlexaMessage&) = delete;
    virtual ~PlexaMessage();

    /// The envelope: XML text whose root "message" has a child "type" (and "source" for a received message).
    /// It depends on nothing but the message's type and source.
    [[nodiscard]] virtual std::size_t GetMessageTextSize() const;
    virtual void GetMessageText(char* outBuffer) const;

    /// App id of the sender; for an `ErrorMessage` that of this process.
    [[nodiscard]] std::size_t GetAppIdSize() const;
    void GetAppId(char* outBuffer) const;

    void SetSource(const EndPoint& inSource);
    [[nodiscard]] const EndPoint& GetSource() const;

  protected:
    explicit PlexaMessage(std::string inType);

    [[nodiscard]] const std::string& GetType() const { return mType; }
    /// Hands over an envelope made before for the same type and source.
    void SetEnvelope(std::shared_ptr<const std::string> inEnvelope);

  private:
    friend class MessageAccess;  // the message library's own way to the fields below

    [[nodiscard]] const std::string& Envelope() const;

    std::string mType;
    EndPoint mSource;
    mutable std::shared_ptr<const std::string> mEnvelope;  // made at first use, or handed over
};

/// A message of an application: a type and a payload text. The payload ends at its first NUL.
class PLEXA_MESSAGE5_API SuiteMessage : public PlexaMessage {
  public:
    /// `inType` is copied; a null pointer stands for the empty type.
    explicit SuiteMessage(const char* inType);
    ~SuiteMessage() override;

    /// `inPayload` is copied; a null pointer stands for the empty payload.
    void SetPayload(const char* inPayload);
    [[nodiscard]] std::size_t GetPayloadSize() const;
    void GetPayload(char* outBuffer) const;

    /// Where the message is to go. Without a destination it goes to every other end point.
    void SetDestination(const EndPoint& inDestination);
    [[nodiscard]] const EndPoint& GetDestination() const;

  private:
    friend class MessageAccess;

    std::string mPayload;
    // Of a received message the payload stays where it was read, and `mPayload` is empty.
    std::string_view mReceivedPayload;
    EndPoint mDestination;
};

/// Tells a sender that a message of its own, whose type it carries, has not arrived or may not have.
class PLEXA_MESSAGE5_API ErrorMessage : public PlexaMessage {
  public:
    ErrorMessage(const char* inType, const char* inError, const char* inFault);
    ~ErrorMessage() override;

    /// "Not delivered" or "Delivery not confirmed".
    [[nodiscard]] std::size_t GetErrorSize() const;
    void GetError(char* outBuffer) const;
    /// The receiver's app id and the reason.
    [[nodiscard]] std::size_t GetFaultSize() const;
    void GetFault(char* outBuffer) const;

  private:
    std::string mError;
    std::string mFault;
};

}  // namespace orvane::plexa::api5
