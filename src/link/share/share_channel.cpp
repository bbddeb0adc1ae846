#include "link/share/share_channel.h"

#include "link/share/share_receiver.h"
#include "link/share/share_sink.h"

void CShareChannel::SendToSinks(const void* data, int length) {
    if (length > limits::kMaxFrameLen) return;
    hub.FanOut(data, length, [&](CShareSink& sink) { sink.OnChannelData(data, length); });
}

void CShareChannel::SendToReceiver(const void* data, int length) {
    if (length > limits::kMaxFrameLen) return;
    hub.WithReceiver([&](CShareReceiver& receiver) { receiver.OnChannelData(data, length); });
}

uint32_t CShareChannel::LeastBuffered(bool withReceiver) {
    CLeastBuffered least;
    bool waiting = true;
    hub.ForEachSinkWhile([&](CShareSink& sink) { return waiting = least.Ask(sink.GetBufferingFrameCount()); });
    if (waiting && withReceiver)
        hub.WithReceiver([&](CShareReceiver& receiver) { least.Ask(receiver.GetBufferingFrameCount()); });
    return least.Result();
}
