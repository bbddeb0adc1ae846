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
        : CStreamSubscribeLink<Library>(false, route, inbox, Times()), m_sink(std::move(sink)) {}

protected:
    const LoadSink m_sink;

private:
    /// Among many links of one process nobody looks which of them is silent.
    static LinkTimes Times() {
        LinkTimes times;
        times.silence = times.unaccepted = LinkTimes::kForEver;
        return times;
    }
};

}  // namespace lumo
