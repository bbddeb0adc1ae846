#include "bench/transports/audio_run.h"

#include "bench/harness/clock.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace bench {

namespace {

constexpr uint32_t kBurst = 20;  // frames: as many fit every socket's buffer, so that nothing is lost for its size
constexpr int64_t kPaceNs = 20 * kNsPerMs;
constexpr size_t kStampAt = 4;
constexpr int kAnswerMs = 5000;
constexpr int64_t kQuietNs = 300 * kNsPerMs;  // nothing for so long: the rest is lost
constexpr unsigned kLookAgainMicroseconds = 1000;

/// Channels serve their sinks in the order of the IDs.
size_t ServedLast(CStreamSinks& sinks) {
    const std::span<StreamSink> all = sinks.All();
    const auto last = std::max_element(all.begin(), all.end(),
                                       [](const StreamSink& a, const StreamSink& b) { return a.sinkID < b.sinkID; });
    return static_cast<size_t>(last - all.begin());
}

/// What the sinks have heard of the frames published so far.
class CAudioEar {
public:
    CAudioEar(CSide& side, CStreamSinks& sinks, const AudioOpen& open)
        : m_side(side), m_sinks(sinks), m_open(open), m_last(sinks.All().size(), 0), m_nServedLast(ServedLast(sinks)) {}

    /// The frames up to that number, of which those before are known.
    void TakeUpTo(uint32_t published);
    void Finish();

private:
    void AwaitTheLast(uint32_t published);
    void TakeFrom(size_t sink);
    bool TakeSome(uint32_t published);
    void Take(size_t sink, char* data, int length, int64_t arrivedNs);

    CSide& m_side;
    CStreamSinks& m_sinks;
    const AudioOpen& m_open;
    CStampedReceiver m_receiver;
    std::vector<uint32_t> m_last;  // number of the newest frame at each sink, from 1
    const size_t m_nServedLast;    // the sink that a channel serves last
    uint64_t m_nTaken = 0;
    uint64_t m_nTakenOfBurst = 0;
    int64_t m_nFirst = 0;  // arrivals of the burst
    int64_t m_nLast = 0;
    double m_dSeconds = 0;
    double m_dCounted = 0;  // datagrams in that time
    CDelays m_delays;
};

void CAudioEar::Take(size_t sink, char* data, int length, int64_t arrivedNs) {
    wire::CWireReader head(data, length);
    const bool isFrame = head.U8() == static_cast<uint8_t>(media::kAudio.kind) && head.U8() == media::kAudio.sink.frame;
    if (!isFrame) return;  // an answer that was repeated
    char* frame = data + kAudioHead;
    int frameLength = length - kAudioHead;
    const bool forIt = head.U32() == m_sinks.All()[sink].receiverID && (!m_open || m_open(frame, frameLength));
    if (!forIt || frameLength != kAudioFrame) throw std::runtime_error("a sink heard what was not meant for it");
    const FrameStamp stamp = ReadStamp(frame + kStampAt);
    if (stamp.number <= m_last[sink]) throw std::runtime_error("a frame came late or twice");
    m_last[sink] = stamp.number;
    ++m_nTaken;
    ++m_nTakenOfBurst;
    m_nFirst = m_nFirst == 0 ? arrivedNs : std::min(m_nFirst, arrivedNs);
    m_nLast = std::max(m_nLast, arrivedNs);
    if (stamp.number > m_side.Spec().burstFrames) m_delays.Add(arrivedNs - stamp.sentNs);
}

void CAudioEar::TakeFrom(size_t sink) {
    m_receiver.TakeAll(m_sinks.All()[sink].socket,
                       [&](char* data, int length, int64_t arrivedNs) { Take(sink, data, length, arrivedNs); });
}

/// Looks at one socket only, so that whoever sends is not disturbed.
void CAudioEar::AwaitTheLast(uint32_t published) {
    for (int64_t moved = NowNs(); m_last[m_nServedLast] != published && NowNs() - moved < kQuietNs;) {
        const uint32_t before = m_last[m_nServedLast];
        TakeFrom(m_nServedLast);
        if (m_last[m_nServedLast] != before) moved = NowNs();
        if (m_last[m_nServedLast] != published) usleep(kLookAgainMicroseconds);
    }
}

/// True when every sink has the newest frame.
bool CAudioEar::TakeSome(uint32_t published) {
    bool all = true;
    for (size_t i = 0; i < m_last.size(); ++i) {
        if (m_last[i] == published) continue;
        TakeFrom(i);
        all = all && m_last[i] == published;
    }
    return all;
}

void CAudioEar::TakeUpTo(uint32_t published) {
    m_nFirst = m_nLast = 0;
    m_nTakenOfBurst = 0;
    AwaitTheLast(published);
    uint64_t before = m_nTaken;
    for (int64_t moved = NowNs(); !TakeSome(published) && NowNs() - moved < kQuietNs;) {
        if (m_nTaken != before) moved = NowNs();
        before = m_nTaken;
        usleep(kLookAgainMicroseconds);
    }
    if (published > m_side.Spec().burstFrames || m_nTakenOfBurst < 2) return;
    m_dSeconds += static_cast<double>(m_nLast - m_nFirst) * 1e-9;
    m_dCounted += static_cast<double>(m_nTakenOfBurst - 1);
}

void CAudioEar::Finish() {
    const RunSpec& spec = m_side.Spec();
    const double wanted = static_cast<double>(spec.burstFrames + spec.pacedFrames) * static_cast<double>(m_last.size());
    Values values{{"sinks", static_cast<double>(m_last.size())},
                  {"datagrams", static_cast<double>(m_nTaken)},
                  {"datagrams/s", m_dSeconds > 0 ? m_dCounted / m_dSeconds : 0},
                  {"lost_percent", 100 * (1 - static_cast<double>(m_nTaken) / wanted)}};
    m_delays.Report(values);
    m_side.Finish(values);
}

}  // namespace

CStampedReceiver::CStampedReceiver() {
    for (size_t i = 0; i < kBatch; ++i) {
        m_parts[i] = {m_buffers[i].data(), m_buffers[i].size()};
        m_messages[i].msg_hdr.msg_iov = &m_parts[i];
        m_messages[i].msg_hdr.msg_iovlen = 1;
        m_messages[i].msg_hdr.msg_control = m_controls[i].bytes;
    }
}

void CStampedReceiver::Prepare(CSocket& socket) { socket.Set(SOL_SOCKET, SO_TIMESTAMPNS, 1); }

size_t CStampedReceiver::Receive(const CSocket& socket) {
    for (mmsghdr& message : m_messages) message.msg_hdr.msg_controllen = sizeof(Control);
    const int got = recvmmsg(socket.Fd(), m_messages.data(), kBatch, MSG_DONTWAIT, nullptr);
    return got > 0 ? static_cast<size_t>(got) : 0;
}

int64_t CStampedReceiver::ArrivedNs(size_t i) {
    const cmsghdr* control = CMSG_FIRSTHDR(&m_messages[i].msg_hdr);
    if (!control || control->cmsg_type != SO_TIMESTAMPNS) throw std::runtime_error("no time of arrival");
    timespec time{};
    std::memcpy(&time, CMSG_DATA(control), sizeof time);
    return ToNs(time);
}

void PublishAudio(CSide& side, const std::function<void(const char* frame, int length)>& send) {
    const RunSpec& spec = side.Spec();
    std::array<char, kAudioFrame> frame{};
    uint32_t number = 0;
    const auto sendNext = [&] {
        WriteStamp(frame.data() + kStampAt, {++number, RealNs()});
        send(frame.data(), kAudioFrame);
    };
    const auto awaitSinks = [&] {
        side.Tell(number);
        if (!side.Hear(number, kAnswerMs)) throw std::runtime_error("the sinks do not answer");
    };
    while (number < spec.burstFrames) {
        for (uint32_t i = 0; i < kBurst && number < spec.burstFrames; ++i) sendNext();
        awaitSinks();
    }
    int64_t due = NowNs();
    while (number < spec.burstFrames + spec.pacedFrames) {
        SleepUntil(due);
        due = std::max(due + kPaceNs, NowNs());
        sendNext();
        awaitSinks();
    }
    side.WaitForStop();
}

void HearAudio(CSide& side, Listener where, const AudioOpen& open) {
    CStreamSinks sinks(media::kAudio, side.Port(), where);
    sinks.GrowTo(side.Spec().sinks);
    for (StreamSink& sink : sinks.All()) CStampedReceiver::Prepare(sink.socket);
    CAudioEar ear(side, sinks, open);
    side.Connected();
    const uint64_t all = uint64_t{side.Spec().burstFrames} + side.Spec().pacedFrames;
    for (uint64_t taken = 0; taken < all; taken = side.HeardStep()) {
        while (side.HeardStep() == taken)
            if (side.Stopped(-1)) return;
        ear.TakeUpTo(static_cast<uint32_t>(side.HeardStep()));
        side.Tell(side.HeardStep());
    }
    ear.Finish();
    side.WaitForStop();
}

}  // namespace bench
