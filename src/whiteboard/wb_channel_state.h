// The inside of a whiteboard channel, for the whiteboard classes and the relay server.
#pragma once

#include "link/channel_key.h"
#include "link/lock_order.h"
#include "link/tables/id_table.h"
#include "lumomedia/whiteboard.h"
#include "platform/lumobase/clock.h"

#include <atomic>
#include <cstdint>

struct CWBChannelState {
    explicit CWBChannelState(uint32_t id)
        : channelID(id != 0 ? id : static_cast<uint32_t>(Lumo_Base::GenerateSSRC())) {}

    static CWBChannelState& Of(CWBChannel& channel) { return *channel.m_pState; }

    ChannelKey Key() const { return MakeChannelKey(legID, channelID); }

    const uint32_t channelID;
    uint32_t legID = 0;   // of a channel that is fetched from another server; set before it is registered
    uint32_t homeIP = 0;  // that server's address, the same
    CIDTable<CWBSession> sessions{lock_order::kBoardSessions};
    std::atomic<bool> dirty{false};
    std::atomic<bool> held{false};     // an object or the state, at some time
    std::atomic<uint32_t> awaited{0};  // sessions at a server that join once they are validated
    std::atomic<bool> deleted{true};   // with the local MCU, if it is still registered then
};
