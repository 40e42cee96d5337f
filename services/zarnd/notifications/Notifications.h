/// The notification side of the service: takes messages, tells observers.
#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "bus/IPort.h"
#include "bus/Payload.h"
#include "notifications/ObserverFile.h"
#include "notifications/Observers.h"

namespace orvane::plexa::zarnd {

/// Used by the service's thread.
class Notifications {
  public:
    using Time = std::chrono::steady_clock::time_point;

    /// Takes up the observers that a file keeps of an earlier run.
    Notifications(std::filesystem::path inFile, IPort& ioPort);

    [[nodiscard]] static bool Takes(const std::string& inType);
    void OnMessage(const Message& inMessage);
    void OnEndPoints(const std::vector<Asker>& inEndPoints);

    /// When `OnTime` has something to do.
    [[nodiscard]] std::optional<Time> NextTime() const { return mSaveAt; }
    /// Saves what has changed: at once, but twice a second at most.
    void OnTime(Time inNow);
    /// Saves what hasn't been saved yet.
    void Save();

    /// Whether somebody counts on this service to be there.
    [[nodiscard]] bool IsNeeded() const { return mObservers.HasPresent(); }

  private:
    void OnRegistration(const Message& inMessage);
    void OnPush(const Message& inMessage);
    void OnQuestion(const Message& inMessage);
    /// The number of observers is told.
    void Answer(const Message& inQuestion, const std::optional<RequestId>& inId, std::size_t inObservers);
    void NoteChange();

    IPort& mPort;
    ObserverFile mFile;
    Observers mObservers;
    Time mSavedAt;
    std::optional<Time> mSaveAt;
};

}  // namespace orvane::plexa::zarnd
