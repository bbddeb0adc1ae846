// What the factories of the media that start and stop share.
#pragma once

#include "api/factory.h"

/// What `make` gives, on its way to the server; `proxy` over TCP only.
template <class TSender, class TMade, class TNotify, class... TProxy>
TSender* ConnectedSender(TMade* (*make)(TNotify&, uint32_t), TNotify& notify, unsigned long channelID,
                         const CMcuAddress& mcu, const TProxy&... proxy) {
    TMade* made = Make([&] { return make(notify, static_cast<uint32_t>(channelID)); });
    return Connected(static_cast<TSender*>(made), [&](TSender& sender) {
        return sender.Connect(mcu.ips[0], mcu.ips[1], mcu.ips[2], mcu.port, proxy...);
    });
}

/// `to` is what its Connect takes. Receivers belong to no channel of this host.
template <class TReceiver, class TNotify, class... To>
TReceiver* ConnectedReceiver(TNotify& notify, unsigned long channelID, unsigned long userID, const To&... to) {
    TReceiver* made =
        Make([&] { return new TReceiver(notify, static_cast<uint32_t>(channelID), static_cast<uint32_t>(userID)); });
    return Connected(made, [&](TReceiver& receiver) { return receiver.Connect(to...); });
}
