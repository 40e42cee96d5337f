/// Being on the bus: what all processes of the campaigns in this folder do alike.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <PlexaMessage5/PlexaMessage5.h>

namespace campaign::stopped {

/// Hands what arrives to a function, on the delivery thread.
class FunctionListener final : public orvane::plexa::api5::IPlexaMessageListener {
  public:
    using Function = std::function<void(const orvane::plexa::api5::PlexaMessage&)>;
    explicit FunctionListener(Function inFunction) : mFunction(std::move(inFunction)) {}
    void Receive(const orvane::plexa::api5::PlexaMessage& inMessage) override { mFunction(inMessage); }

  private:
    Function mFunction;
};

/// On the bus from construction to destruction, under inName and version 1.0. The process ends with the one
/// that started it.
class Presence {
  public:
    /// Throws `std::runtime_error`.
    Presence(const std::string& inName, FunctionListener::Function inFunction);
    ~Presence();
    Presence(const Presence&) = delete;
    Presence& operator=(const Presence&) = delete;

    /// Waits until end points of all these names are there, and gives them in the same order.
    std::vector<orvane::plexa::api5::EndPoint> Await(const std::vector<std::string>& inNames) const;
    /// Without a destination: to all. False when the call failed.
    bool Send(const std::string& inType, const std::string& inText,
              const orvane::plexa::api5::EndPoint& inTo = {}) const;

  private:
    FunctionListener mListener;
    orvane::plexa::api5::IPlexaMessageDispatcher* mDispatcher = nullptr;
};

/// The clock that all processes share, in nanoseconds.
std::uint64_t NowNanoseconds();
/// Takes a number and the blank behind it from the front of ioText.
std::uint64_t TakeNumber(std::string_view& ioText);

}  // namespace campaign::stopped
