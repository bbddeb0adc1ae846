#include "server/file/file_stream.h"

#include "file/file_channel_state.h"
#include "file/file_receiver.h"
#include "file/file_sink_tcp.h"
#include "file/file_sink_udp.h"
#include "server/link_status.h"

namespace {

CListenerStatus Describe(CFileSink& sink) {
    CListenerStatus listener;
    if (CFileSinkUDP* udp = sink.AsUDP()) {
        LumoLinkStatistics statistics;
        udp->FillStatistics(statistics);
        listener.peer = {udp->GetRemoteIP(), udp->GetRemotePort()};
        listener.queuedFrames = statistics.ulQueuedFrames;
        listener.queuedBytes = statistics.ullQueuedBytes;
        listener.roundTripMs = static_cast<uint32_t>(statistics.ulRoundTripMs);
        listener.link = SumsOf(statistics);
    } else if (auto* tcp = dynamic_cast<CFileSinkTCP*>(&sink)) {
        listener.peer = {tcp->GetRemoteIP(), tcp->GetRemotePort()};
        listener.tcp = true;
        listener.queuedFrames = tcp->GetBufferingFrameCount();
    }
    return listener;
}

}  // namespace

CFileStream::CFileStream(uint32_t channelID, const CServerLimits& limits)
    : CStream("file", limits), CFileChannel(channelID), m_ulChannelID(channelID) {}

size_t CFileStream::SinkCount() { return CFileChannelState::Of(*this).hub.SinkCount(); }

void CFileStream::SendToSinks(const void* data, int length) { CFileChannelState::Of(*this).SendToSinks(data, length); }

bool CFileStream::SendToLeg(const void* data, int length) {
    bool sent = false;
    CFileChannelState::Of(*this).hub.WithReceiver([&](CFileReceiver& receiver) {
        sent = receiver.GetBufferedBytes() + static_cast<uint64_t>(length) <= Limits().upstreamQueueBytes;
        if (sent) receiver.OnFileChannelData(data, length);
    });
    return sent;
}

void CFileStream::ForEachListener(void* context, void (*use)(void* context, const CListenerStatus& listener)) {
    CFileChannelState::Of(*this).hub.ForEachSinkWhile([&](CFileSink& sink) {
        use(context, Describe(sink));
        return true;
    });
}
