// The library's video: one channel with more and more UDP sinks, and how long one stream's frames take.
#include "bench/harness/clock.h"
#include "bench/transports/lumo_links.h"
#include "bench/transports/transports.h"
#include "bench/transports/video_sinks.h"

#include <unistd.h>
#include <nlohmann/json.hpp>

#include <algorithm>

namespace bench {

namespace {

constexpr int kGrowMs = 30000;
constexpr int kAnswerMs = 20000;
constexpr int64_t kQuietNs = 1000 * kNsPerMs;  // nothing for so long: the rest does not come
constexpr int kServeMs = 5;

using CChannel = CLumoChannel<CVideoChannel>;

/// How many sinks there are at each stage.
std::vector<uint32_t> Stages(uint32_t sinks) {
    std::vector<uint32_t> stages;
    for (const uint32_t part : {100U, 10U, 1U})
        if (sinks >= part) stages.push_back(sinks / part);
    return stages;
}

/// Steps told by the sinks: stage i has grown, stage i has everything. Told by the publisher: frames published.
uint64_t Grown(size_t stage) { return 2 * stage + 1; }
uint64_t Served(size_t stage) { return 2 * stage + 2; }

void Await(CSide& side, uint64_t step, int waitMs) {
    if (!side.Hear(step, waitMs)) throw std::runtime_error("the sinks do not answer");
}

uint64_t Resent() {
    LumoProcessStatistics statistics{};
    GetProcessStatistics(statistics);
    return statistics.ullRetransmitted;
}

void PublishToMany(CSide& side) {
    CLumoHost host;
    CChannel channel;
    usleep(200000);  // for threads to start
    const double residentBefore = ResidentBytes();
    side.Listening(host.Port());
    side.Connected();
    CVideoFrames frames = SmallVideoFrames();
    const auto count = static_cast<double>(side.Spec().pacedFrames);
    const std::vector<uint32_t> stages = Stages(side.Spec().sinks);
    std::vector<std::pair<double, double>> growth;
    Values values;
    for (size_t stage = 0; stage < stages.size(); ++stage) {
        const double sinks = stages[stage];
        Await(side, Grown(stage), kGrowMs);
        const double cpuBefore = CpuSeconds();
        const uint64_t resentBefore = Resent();
        const int64_t start = NowNs();
        SendPaced(frames, side.Spec().pacedFrames,
                  [&](char* frame, int length) { channel->OnVideoChannelData(frame, length); });
        const double seconds = static_cast<double>(NowNs() - start + kVideoPaceNs) * 1e-9;
        side.Tell(frames.Made());
        Await(side, Served(stage), kAnswerMs);
        const double cpu = kMega * (CpuSeconds() - cpuBefore) / count;
        const double carried = side.HeardNumber() / (count * sinks);  // of the frames, on average over the sinks
        const std::string at = " at " + std::to_string(stages[stage]);
        values["cpu_us_per_frame" + at] = cpu;
        values["carried_percent" + at] = 100 * carried;
        if (carried > 0) growth.emplace_back(sinks, cpu / carried);
        values["sinks"] = sinks;
        values["cpu_us_per_frame"] = cpu;
        values["resent_per_frame"] = static_cast<double>(Resent() - resentBefore) / count;
        values["frames/s"] = carried * count / seconds;
        values["KiB_per_sink"] = (ResidentBytes() - residentBefore) / 1024 / sinks;
    }
    values["cpu_exponent"] = Exponent(growth);
    side.Finish(values);
    side.WaitForStop();
}

/// Until everybody has the frames that were published by now, or nothing comes any more.
void ServeUntilQuiet(CVideoSinks& sinks, uint32_t published) {
    for (int64_t moved = NowNs(); !sinks.AllHave(published) && NowNs() - moved < kQuietNs;)
        if (sinks.Serve(kServeMs)) moved = NowNs();
}

void WatchMany(CSide& side) {
    CVideoSinks sinks(side.Port());
    side.Connected();
    const std::vector<uint32_t> stages = Stages(side.Spec().sinks);
    Values values;
    for (size_t stage = 0; stage < stages.size(); ++stage) {
        sinks.GrowTo(stages[stage]);
        sinks.Delays().Clear();
        side.Tell(Grown(stage));
        const uint64_t wanted = (stage + 1) * uint64_t{side.Spec().pacedFrames};
        int64_t asked = NowNs();
        while (side.HeardStep() < wanted) {
            sinks.Serve(kServeMs);
            if (NowNs() - asked < kServeMs * kNsPerMs) continue;
            asked = NowNs();
            if (side.Stopped(0)) return;
        }
        ServeUntilQuiet(sinks, static_cast<uint32_t>(wanted));
        side.Tell(Served(stage), static_cast<double>(sinks.TakeDelivered()));
    }
    sinks.Delays().Report(values);
    side.Add(values);
    while (!side.Stopped(kServeMs)) sinks.Serve(0);
}

/// One subscriber as applications have it.
class CVideoSubscription : public CLumoLink<IVideoReceiver>, private IVideoReceiverNotify {
public:
    explicit CVideoSubscription(CSide& side) : m_side(side) {}
    ~CVideoSubscription() override { Release(); }

    void ConnectToPublisher(CLumoHost& host) {
        SetP2PSubscribe(true);
        host.AnnouncePublisher(m_side.Port());
        Hold(CreateVideoReceiverP2P(*this, kChannelID, CLumoHost::kUser));
    }
    void ConnectToServer() {
        Hold(CreateVideoReceiverUDP(*this, kChannelID, RunHosts().far, 0, 0, m_side.Port(), 0, 0, 0, 0,
                                    CLumoHost::kUser));
    }

private:
    void OnConnected(unsigned long) override { OnTaken(); }
    void OnVideoData(const char* data, int length) override {
        const int64_t now = NowNs();
        const FrameStamp stamp = m_frames.Check(data, length);
        m_delays.Add(now - stamp.sentNs);
        ++m_nTaken;
        if (stamp.number < m_side.Spec().pacedFrames) return;
        Values values{{"frames", static_cast<double>(m_nTaken)},
                      {"lost_percent", 100.0 * (1 - static_cast<double>(m_nTaken) / m_side.Spec().pacedFrames)}};
        m_delays.Report(values);
        m_side.Finish(values);
    }

    CSide& m_side;
    const CVideoFrames m_frames = StreamVideoFrames();
    CDelays m_delays;
    uint32_t m_nTaken = 0;
};

void PublishStream(CSide& side, CChannel& channel) {
    WaitFor("a watcher", [&] { return channel->HasStartedVideoSink(); });
    CVideoFrames frames = StreamVideoFrames();
    SendPaced(frames, side.Spec().pacedFrames,
              [&](char* frame, int length) { channel->OnVideoChannelData(frame, length); });
    side.WaitForStop();
}

void Publish(CSide& side) {
    CLumoHost host;
    CChannel channel;
    side.Listening(host.Port());
    side.Connected();
    PublishStream(side, channel);
}

class CVideoPublication : public CStreamPublication<IVideoSender, IVideoSenderNotify> {
public:
    using CStreamPublication::CStreamPublication;

private:
    void OnKeyFrameRequest() override {}
};

void PublishToServer(CSide& side) {
    CLumoHost host;
    CChannel channel;
    CVideoPublication publication(CreateVideoSenderUDP, side.Port());
    side.Connected();
    PublishStream(side, channel);
}

void Watch(CSide& side) {
    CLumoHost host;
    CVideoSubscription subscription(side);
    subscription.ConnectToPublisher(host);
    side.Connected();
    subscription.PollUntilStopped(side);
}

void WatchServer(CSide& side) {
    CLumoHost host;
    CVideoSubscription subscription(side);
    subscription.ConnectToServer();
    side.Connected();
    subscription.PollUntilStopped(side);
}

nlohmann::json ManySettings() {
    return LumoSettings("a channel's UDP sinks, each a session of the library behind a socket of one other process");
}
nlohmann::json Settings() { return LumoSettings("a channel's UDP sink to a receiver in another process"); }
nlohmann::json RelaySettings() { return LumoSettings("a UDP sender to the relay server to a UDP receiver"); }

}  // namespace

std::vector<CDriver> LumoVideoDrivers() {
    return {{"lumo-video", Role::Sender, Listener::Sender, PublishToMany, WatchMany, ManySettings},
            {"lumo-video-wide", Role::Sender, Listener::Sender, Wide<PublishToMany>, Wide<WatchMany>, ManySettings},
            {"lumo-video-stream", Role::Receiver, Listener::Sender, Publish, Watch, Settings},
            {"lumo-film", Role::Receiver, Listener::Sender, Wide<Publish>, Wide<Watch>, Settings},
            {"lumo-video-relay", Role::Receiver, Listener::RelayServer, PublishToServer, WatchServer, RelaySettings}};
}

}  // namespace bench
