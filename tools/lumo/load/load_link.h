// A subscriber of `lumo load`, whatever its medium.
#pragma once

#include "tools/lumo/load/load_medium.h"
#include "tools/lumo/media/stream_links.h"

#include <utility>

namespace lumo {

/// Frames are taken where they come, so that no queue counts as delay.
template <class Library>
class CLoadLink : public CStreamSubscribeLink<Library> {
public:
    CLoadLink(const RelayRoute& route, CInbox& inbox, LoadSink sink)
        : CStreamSubscribeLink<Library>(false, route, inbox, PublishTimes()), m_sink(std::move(sink)) {}

protected:
    const LoadSink m_sink;
};

}  // namespace lumo
