// How the factories get their objects: wholly made and open before anybody else can see them.
#pragma once

#include "link/callback.h"
#include "link/channel_key.h"
#include "platform/lumobase/undo.h"

#include <cstdint>
#include <memory>

/// A T on the channel, its session open where it has one, and then entered by `enter`; null for an unknown channel.
template <class T, class TTables, class TNotify, class Enter>
T* MakeOnChannel(TTables& tables, TNotify& notify, ChannelKey key, Enter enter) {
    std::unique_ptr<T> made;
    CUndo undo([&] {  // outside the channel's lock
        COwnRelease own;
        if (made) made.release()->ReleaseConnections();
    });
    tables.channels.With(key, [&](auto& channel) {
        made = std::make_unique<T>(notify, channel);
        if constexpr (requires { made->StartSession(); }) made->StartSession();
        enter(*made);
    });
    undo.Keep();
    return made.release();
}

/// What has been made, null included, once `enter` has put it where datagrams find it; released when that fails.
template <class T, class Enter>
T* Entered(T* made, Enter enter) {
    if (!made) return nullptr;
    CUndo undo([made] {
        COwnRelease own;
        made->ReleaseConnections();
    });
    enter(*made);
    undo.Keep();
    return made;
}

/// A sender T on the channel of this ID, in its channel, and in the table when datagrams reach it. Null without a local
/// MCU or for an unknown channel.
template <class T, class TMcu, class TNotify>
T* MakeSender(TMcu* mcu, TNotify& notify, uint32_t channelID) {
    if (!mcu) return nullptr;
    T* made = MakeOnChannel<T>(mcu->Tables(), notify, channelID, [](T& sender) { sender.Join(); });
    if constexpr (requires { made->GetSenderKey(); })
        return Entered(made, [mcu](T& sender) { mcu->Tables().senders.Put(sender.GetSenderKey(), &sender); });
    else
        return made;
}
