// Texts fetched from the message library by a size query and a copy, when the size is not that of the text.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "doubles/BrokerFile.h"
#include "doubles/NuocoreWatch.h"
#include "doubles/PlexaMessage5Double.h"
#include "transport/Envelopes.h"
#include "transport/PlexaInterface.h"
#include "transport/Received.h"

namespace nuoplexasupport {
namespace {

namespace api = orvane::plexa::api5;
using doubles::Message5Double;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class FetchedText : public testing::Test {
  protected:
    FetchedText() {
        mTransport.Initialize("QRTX", "1.0", &NoteReceived);
        mDouble.mEndPoints = {api::EndPoint("PEER-1", 1, 20)};
        mDouble.Refresh();
        mDouble.ClearCalls();
    }
    /// What the callback is given while size queries answer `inSize`.
    void Deliver(std::size_t inSize) {
        mDouble.mSizeAnswer = inSize;
        Enveloped<api::SuiteMessage> suite("T");
        suite.SetPayload("payload");
        suite.SetSource(api::EndPoint("PEER-1", 1, 20));
        mDouble.Deliver(suite);
        mDouble.Deliver(Enveloped<api::ErrorMessage>("T", "an error", "a fault"));
    }
    /// The call that sending to "PEER-1" leads to while size queries answer `inSize`.
    std::string Send(std::size_t inSize) {
        mDouble.ClearCalls();
        mDouble.mSizeAnswer = inSize;
        mTransport.Send("T", "p", "PEER-1");
        return mDouble.Calls().back();
    }

    doubles::BrokerFile mBroker;
    Message5Double& mDouble = Message5Double::Get();
    PlexaInterface& mTransport = PlexaInterface::Instance();
};

TEST_F(FetchedText, OfSizeZeroIsEmpty) {
    Deliver(0);
    EXPECT_THAT(Received(), ElementsAre("T|||", "T|||"));
    EXPECT_THAT(Send(0), Not(HasSubstr("destination")));
}

TEST_F(FetchedText, OfSizeZeroIsAnEmptyEnvelopeToo) {
    mDouble.mSizeAnswer = 0;
    mDouble.Deliver(api::SuiteMessage("T"));
    EXPECT_THAT(Received(), ElementsAre("|||"));
}

TEST_F(FetchedText, OfSizeOneIsEmptyWhateverIsCopied) {
    Deliver(1);
    // Of an app id all copied bytes count, of other texts the last one is the terminator's.
    EXPECT_THAT(Received(), ElementsAre("T|||P", "T|||"));
    EXPECT_THAT(Send(1), Not(HasSubstr("destination")));
}

TEST_F(FetchedText, WithoutRoomForItsTerminatorEndsWhereItMust) {
    Deliver(6);
    EXPECT_THAT(Received(), ElementsAre("T|paylo||PEER-1", "T||an er:a fau|"));
    EXPECT_THAT(Send(6), HasSubstr("destination=PEER-1"));
}

TEST_F(FetchedText, ShorterThanItsSizeEndsAtItsTerminator) {
    Deliver(100);
    EXPECT_THAT(Received(), ElementsAre("T|payload||PEER-1", "T||an error:a fault|"));
    EXPECT_THAT(Send(100), HasSubstr("destination=PEER-1"));
}

}  // namespace
}  // namespace nuoplexasupport
