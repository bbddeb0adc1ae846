// By which way a file may travel.
#pragma once

#include <cstdint>

namespace lumo {

enum class PathChoice {
    Auto,    ///< peer to peer over UDP; the relay while that is not there
    P2P,     ///< peer to peer over UDP only
    P2PTcp,  ///< peer to peer over TCP only
    Relay,
};

inline bool UsesPeers(PathChoice choice) { return choice != PathChoice::Relay; }
inline bool UsesRelay(PathChoice choice) { return choice == PathChoice::Auto || choice == PathChoice::Relay; }

/// The channel at the sender's own host that peers subscribe to, so that blocks for them do not go to the relay.
inline uint32_t DirectChannel(uint32_t channel) { return channel == UINT32_MAX ? 1 : channel + 1; }
/// Under the channel's number the signalling service knows its sender: a receiver needs to be told one number only.
inline uint32_t SenderUser(uint32_t channel) { return channel; }

}  // namespace lumo
