/// The members a client knows of, in a stable order: by member number. Single-threaded (the driver's lock).
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

#include "wire/Messages.h"

namespace orvane::plexa::message5 {

/// Members that are away stay listed: a restart of the broker does not make anybody vanish.
class Roster {
  public:
    struct Listed {
        wire::MemberId member = 0;
        wire::EndPointInfo endPoint;
    };

    void OnPeer(const wire::PeerNotice& inPeer);
    /// The snapshot is complete: who was not in it is gone.
    void OnJoined();
    /// A new snapshot begins.
    void OnConnectionLost();

    /// Those that take messages, the reader itself not among them.
    std::vector<Listed> Receivers() const;
    /// The member behind an end point, if it takes messages.
    std::optional<wire::MemberId> Find(const wire::EndPointInfo& inEndPoint) const;
    /// Whether the snapshot has that member, or that slot.
    bool Has(wire::MemberId inMember, wire::Slot inSlot) const;
    /// Changes whenever Receivers would answer something else than before.
    std::uint64_t Version() const noexcept { return mVersion; }

  private:
    friend class StateInspector;  // tests

    struct Member {
        wire::EndPointInfo endPoint;
        wire::Slot slot = wire::kNoSlot;
        bool receives = false;
        bool seen = false;
    };
    std::map<wire::MemberId, Member> mMembers;
    std::uint64_t mVersion = 0;
};

}  // namespace orvane::plexa::message5
