#include "link/share/share_channel.h"

#include "link/share/share_receiver.h"
#include "link/share/share_sink.h"

void CShareChannel::SendToSinks(const void* data, int length) {
    if (length > limits::kMaxFrameLen) return;
    const CFanOut fanOut(data, length);
    for (CShareSink& sink : hub.Sinks()) sink.OnChannelData(data, length);
}

void CShareChannel::SendToReceiver(const void* data, int length) {
    if (length > limits::kMaxFrameLen) return;
    hub.WithReceiver([&](CShareReceiver& receiver) { receiver.OnChannelData(data, length); });
}

uint32_t CShareChannel::LeastBuffered(bool withReceiver) {
    CLeastBuffered least;
    for (CShareSink& sink : hub.Sinks())
        if (!least.Ask(sink.GetBufferingFrameCount())) return 0;
    if (withReceiver) hub.WithReceiver([&](CShareReceiver& receiver) { least.Ask(receiver.GetBufferingFrameCount()); });
    return least.Result();
}
