#include "server/channels/server_channel.h"

#include "link/activity.h"

#include <utility>

namespace {

void Count(std::atomic<uint64_t>& frames, std::atomic<uint64_t>& bytes, uint64_t times, int length) {
    frames.fetch_add(times, std::memory_order_relaxed);
    bytes.fetch_add(times * static_cast<uint64_t>(length), std::memory_order_relaxed);
}

}  // namespace

void CServerChannel::OnSourceFrame(const char* data, int length) {
    if (length < limits::kMinFrameLen || length > MaxFrame()) return;
    CountIn(length);
    CountOut(Wanted(), length);
    SendToSinks(data, length);
}

void CServerChannel::CountIn(int length) { Count(m_traffic.framesIn, m_traffic.bytesIn, 1, length); }

void CServerChannel::CountOut(uint64_t times, int length) {
    Count(m_traffic.framesOut, m_traffic.bytesOut, times, length);
}

void CServerChannel::OnSinkFrame(const void* data, int length) {
    if (!data || length < limits::kMinFrameLen) return;
    bool sent = false;
    if (static_cast<uint32_t>(length) <= Limits().upstreamFrameBytes) {
        if (IsRelayed())
            sent = SendToLeg(data, length);
        else
            WithSource([&](CSource& source) { sent = source.SendUpstream(data, length); });
    }
    if (sent)
        Count(m_traffic.framesUp, m_traffic.bytesUp, 1, length);
    else
        m_traffic.dropped.fetch_add(1, std::memory_order_relaxed);
}

void CServerChannel::SetSource(std::unique_ptr<CSource> source) {
    CAutoLock lock(&m_csSource);
    m_pSource = std::move(source);
}

std::unique_ptr<CSource> CServerChannel::TakeSource() {
    CAutoLock lock(&m_csSource);
    return std::move(m_pSource);
}

uint32_t CServerChannel::EmptyFor(uint32_t now) {
    const bool wasEmpty = std::exchange(m_bEmpty, !HasSource() && SinkCount() == 0);
    if (!m_bEmpty) return 0;
    if (!wasEmpty) m_ulEmptySince = now;
    return ElapsedMs(now, m_ulEmptySince);
}

void CServerChannel::AddEnded(const CLinkSums& sums) {
    CAutoLock lock(&m_csStatus);
    m_ended.Add(sums);
}

CLinkSums CServerChannel::Ended() {
    CAutoLock lock(&m_csStatus);
    return m_ended;
}

void CServerChannel::Sample(uint32_t now) {
    CLinkSums sums = Ended();
    ForEachListener([&](const CListenerStatus& listener) { sums.Add(listener.link); });
    const CTraffic traffic = Traffic();
    CAutoLock lock(&m_csStatus);
    m_history.Add(now, traffic.bytesIn, sums.packets, sums.retransmitted);
}

CTraffic CServerChannel::Traffic() const {
    const auto get = [](const std::atomic<uint64_t>& count) { return count.load(std::memory_order_relaxed); };
    return {get(m_traffic.framesIn), get(m_traffic.bytesIn), get(m_traffic.framesOut), get(m_traffic.bytesOut),
            get(m_traffic.framesUp), get(m_traffic.bytesUp), get(m_traffic.dropped)};
}

CChannelStatus CServerChannel::Status(size_t maxListeners) {
    CChannelStatus status;
    status.medium = m_medium;
    status.channelID = ChannelID();
    status.hasSource = WithSource([&](CSource& source) { status.source = source.Status(); });
    status.home = m_name.home;
    ForEachListener([&](const CListenerStatus& listener) {
        if (status.listenerCount++ < maxListeners) status.listeners.push_back(listener);
    });
    status.traffic = Traffic();
    CAutoLock lock(&m_csStatus);
    status.bytesPerSecond = m_history.BytesPerSecond();
    status.lossPermille = m_history.LossPermille();
    status.history = m_history.Samples();
    return status;
}

void CServerChannel::AddTo(CMediumStatus& medium) {
    ++medium.channels;
    if (IsRelayed()) ++medium.relays;
    medium.traffic.Add(Traffic());
    medium.links.Add(Ended());
    const auto waits = [&](uint64_t frames, uint64_t bytes, const CLinkSums& link) {
        medium.queuedFrames += frames;
        medium.queuedBytes += bytes;
        medium.links.Add(link);
    };
    WithSource([&](CSource& source) {
        const CSourceStatus status = source.Status();
        ++(status.tcp ? medium.sourcesTcp : medium.sourcesUdp);
        waits(status.queuedFrames, status.queuedBytes, status.link);
    });
    ForEachListener([&](const CListenerStatus& listener) {
        ++(listener.tcp ? medium.sinksTcp : medium.sinksUdp);
        waits(listener.queuedFrames, listener.queuedBytes, listener.link);
    });
}

uint32_t CServerChannel::BytesPerSecond() {
    CAutoLock lock(&m_csStatus);
    return m_history.BytesPerSecond();
}
