// What the cores keep to themselves, for the fingerprint.
#pragma once

#include "BrokerCore.h"
#include "ClientCore.h"
#include "Fingerprint.h"
#include "SlotNames.h"

namespace orvane::plexa::message5 {

class StateInspector {
  public:
    StateInspector(test::Hash& ioHash, test::SlotNames& ioSlots, const test::Setup& inSetup,
                   wire::TimePoint inNow)
        : mHash(ioHash), mSlots(ioSlots), mSetup(inSetup), mNow(inNow) {}

    void Add(const ClientCore& inClient);
    /// Would a flush do anything? May be true for nothing.
    static bool MayWrite(const ClientCore& inClient);

  private:
    void Add(const SenderCore& inSender);
    void Add(const SenderCore& inSender, const SenderCore::Lane& inLane);
    void Add(const ReceiverCore& inReceiver);
    void AddLog(const SenderCore& inSender);
    void AddMarks(const SenderCore& inSender);
    void AddTime(const std::optional<wire::TimePoint>& inTime, wire::Duration inLimit);

    test::Hash& mHash;
    test::SlotNames& mSlots;
    const test::Setup& mSetup;
    wire::TimePoint mNow;
};

}  // namespace orvane::plexa::message5

namespace orvane::plexa::broker {

class StateInspector {
  public:
    StateInspector(test::Hash& ioHash, test::SlotNames& ioSlots, const test::Setup& inSetup)
        : mHash(ioHash), mSlots(ioSlots), mSetup(inSetup) {}

    static wire::Slot SlotOf(const BrokerCore& inBroker, ConnectionId inConnection);
    void AddMembers(const BrokerCore& inBroker);
    void Add(const BrokerCore& inBroker, ConnectionId inConnection);

  private:
    void Add(const BrokerCore::Lane& inLane);

    test::Hash& mHash;
    test::SlotNames& mSlots;
    const test::Setup& mSetup;
};

}  // namespace orvane::plexa::broker
