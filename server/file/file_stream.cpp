#include "server/file/file_stream.h"

#include "file/file_channel_state.h"
#include "link/share_receiver.h"
#include "link/share_sink.h"
#include "server/listener.h"

CFileStream::CFileStream(uint32_t channelID, const CServerLimits& limits)
    : CStream("file", limits), CFileChannel(channelID), m_ulChannelID(channelID) {}

size_t CFileStream::SinkCount() { return CFileChannelState::Of(*this).hub.SinkCount(); }

void CFileStream::SendToSinks(const void* data, int length) { CFileChannelState::Of(*this).SendToSinks(data, length); }

bool CFileStream::SendToLeg(const void* data, int length) {
    bool sent = false;
    CFileChannelState::Of(*this).hub.WithReceiver([&](CShareReceiver& receiver) {
        sent = receiver.GetBufferedBytes() + static_cast<uint64_t>(length) <= Limits().upstreamQueueBytes;
        if (sent) receiver.OnChannelData(data, length);
    });
    return sent;
}

void CFileStream::ForEachListener(void* context, void (*use)(void* context, const CListenerStatus& listener)) {
    CFileChannelState::Of(*this).hub.ForEachSinkWhile([&](CShareSink& sink) {
        use(context, DescribeListener(sink));
        return true;
    });
}
