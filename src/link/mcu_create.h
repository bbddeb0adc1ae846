// How the factories get their objects: wholly made and open before anybody else can see them.
#pragma once

#include <cstdint>
#include <memory>

/// A T on the channel, its session open where it has one, and then entered by `enter`; null for an unknown channel.
template <class T, class TTables, class TNotify, class Enter>
T* MakeOnChannel(TTables& tables, TNotify& notify, uint32_t channelID, Enter enter) {
    std::unique_ptr<T> made;
    tables.channels.With(channelID, [&](auto& channel) {
        made = std::make_unique<T>(notify, channel);
        if constexpr (requires { made->StartSession(); }) made->StartSession();
        enter(*made);
    });
    return made.release();
}
