/// The test's own process as a member of a bus.
#pragma once

#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <PlexaMessage5/PlexaMessage5.h>

/// Keeps what it gets, and does what it is told to.
class Listener final : public orvane::plexa::api5::IPlexaMessageListener {
  public:
    void Receive(const orvane::plexa::api5::PlexaMessage& inMessage) override;

    bool Has(const std::string& inText);
    /// Has, before long.
    bool Gets(const std::string& inText);
    std::size_t Count();
    std::vector<std::string> Texts();
    std::set<std::thread::id> Threads();

    std::function<void(const std::string&)> mAction;  // set before it is enabled

  private:
    std::mutex mMutex;
    std::vector<std::string> mTexts;
    std::set<std::thread::id> mThreads;
};

/// One more reference to the dispatcher.
orvane::plexa::api5::IPlexaMessageDispatcher* Instance();

/// "Test-1", with one listener; ready.
struct Member {
    explicit Member(std::function<void(const std::string&)> inAction = {});
    ~Member();
    Member(const Member&) = delete;
    Member& operator=(const Member&) = delete;

    orvane::plexa::api5::PlexaMessageErrorCode Send(const char* inText,
                                                    const orvane::plexa::api5::EndPoint& inTo) const;

    Listener listener;
    orvane::plexa::api5::IPlexaMessageDispatcher* dispatcher = nullptr;
};
