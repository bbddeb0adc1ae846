// A subscriber as the status sees it, whatever its medium.
#pragma once

#include "link/tables/mcu_sink.h"
#include "link/udp/frame_link.h"
#include "server/status.h"

/// `sink` is a CMcuSink with a GetBufferingFrameCount().
template <class TSink>
CListenerStatus DescribeListener(TSink& sink) {
    CListenerStatus listener;
    const CSinkInfo info = sink.Info();
    listener.address = {info.ip, info.port};
    listener.tcp = info.tcp;
    if (CFrameLink* link = info.link) {
        LumoLinkStatistics statistics;
        link->FillStatistics(statistics);
        listener.queuedFrames = statistics.ulQueuedFrames;
        listener.queuedBytes = statistics.ullQueuedBytes;
        listener.roundTripMs = static_cast<uint32_t>(statistics.ulRoundTripMs);
        listener.link = SumsOf(statistics);
        listener.flow = FlowOf(statistics);
    } else {
        listener.queuedFrames = sink.GetBufferingFrameCount();
        listener.queuedBytes = info.queuedBytes;
        listener.link.dropped = info.framesDropped;
        listener.flow.control = info.congestionControl;
    }
    return listener;
}
