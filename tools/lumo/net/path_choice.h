// By which way a file may travel.
#pragma once

#include <cstdint>

namespace lumo {

enum class PathChoice {
    Auto,    ///< the relay, and peer to peer as soon as that works; over TCP where the relay is reached so
    P2P,     ///< peer to peer over UDP only
    P2PTcp,  ///< peer to peer over TCP only
    Relay,
};

inline bool UsesPeers(PathChoice choice) { return choice != PathChoice::Relay; }
inline bool PeersOverTcp(PathChoice choice, bool relayOverTcp) {
    return choice == PathChoice::P2PTcp || (choice == PathChoice::Auto && relayOverTcp);
}
inline bool UsesRelay(PathChoice choice) { return choice == PathChoice::Auto || choice == PathChoice::Relay; }

/// The channel at the sender's own host that peers subscribe to, so that blocks for them do not go to the relay.
inline uint32_t DirectChannel(uint32_t channel) { return channel == UINT32_MAX ? 1 : channel + 1; }
/// Under the channel's number the signalling service knows its sender: a receiver needs to be told one number only.
inline uint32_t SenderUser(uint32_t channel) { return channel; }

}  // namespace lumo
