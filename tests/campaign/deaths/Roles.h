/// The processes of the campaign of deaths. Each is told WORD ... on its command line.
#pragma once

#include <span>

namespace campaign::deaths {

/// KIND NAME SEED: lives as that kind does, until it is killed.
int RunVictim(std::span<char* const> inWords);
/// NAME: joins by hand, says who it is, and reads nothing.
int RunMember(std::span<char* const> inWords);
/// NAME MEMBER NONCE NONCE: another process with the number of one that was that member. Tries to come back
/// as it, says "refused" or "taken", then joins under its own name and says "joined".
int RunStranger(std::span<char* const> inWords);
/// Sends back what it is sent, until it is killed.
int RunSurvivor(std::span<char* const> inWords);

}  // namespace campaign::deaths
