// A client of the campaign about the return after a kill: as soon as it hears of a round, it sends to its
// neighbour in the ring; the first one also sends to all.
#include <charconv>
#include <string_view>

#include "Presence.h"
#include "ReturnBoard.h"
#include "Roles.h"
#include "support/Texts.h"

namespace campaign::stopped {

namespace api = orvane::plexa::api5;

namespace {

constexpr const char* kToNeighbour = "campaign.return.neighbour";
constexpr const char* kToAll = "campaign.return.all";

void Note(ReturnBoard::Client& ioSelf, const api::PlexaMessage& inMessage) {
    const auto* message = dynamic_cast<const api::SuiteMessage*>(&inMessage);
    const std::string payload = message == nullptr ? std::string() : PayloadOf(*message);
    std::string_view text = payload;
    const std::uint64_t round = TakeNumber(text);
    if (round == 0 || round >= kMostRounds) {
        ++ioSelf.mWrong;
        return;
    }
    ReturnBoard::Hearing& hearing = ioSelf.mHearings[round];
    auto& moment = api::TypeOf(inMessage) == kToAll ? hearing.mFromFirst : hearing.mFromNeighbour;
    if (moment.exchange(NowNanoseconds()) != 0) ++ioSelf.mWrong;
}

}  // namespace

std::string ClientName(std::size_t inClient) { return "CLIENT" + std::to_string(inClient); }

int RunReturning(std::span<char* const> inWords) {
    const SharedBoard<ReturnBoard> board(inWords[0]);
    const std::string_view number = inWords[1];
    std::size_t self = 0;
    std::from_chars(number.data(), number.data() + number.size(), self);
    const Presence presence(ClientName(self), [&](const api::PlexaMessage& inMessage) {
        Note(board->mClients[self], inMessage);
    });
    const api::EndPoint neighbour = presence.Await({ClientName((self + 1) % board->mCount)}).front();
    ++board->mReady;
    for (std::uint32_t round = 0;;) {
        WaitWhile(board->mRound, round);
        round = board->mRound;
        if (round == kNoMoreRounds) return 0;
        const std::string text = std::to_string(round);
        if (!presence.Send(kToNeighbour, text, neighbour)) ++board->mClients[self].mWrong;
        if (self == 0 && !presence.Send(kToAll, text)) ++board->mClients[self].mWrong;
    }
}

}  // namespace campaign::stopped
