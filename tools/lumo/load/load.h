// One publisher and many subscribers of it in this process, by way of a relay server.
#pragma once

#include "tools/lumo/load/load_medium.h"
#include "tools/lumo/load/load_meter.h"
#include "tools/lumo/load/load_sample.h"
#include "tools/lumo/net/local_mcu.h"
#include "tools/lumo/net/loop.h"
#include "tools/lumo/net/server_watch.h"

#include <nlohmann/json_fwd.hpp>

#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumo {

struct LoadOptions {
    RelayRoute route;
    uint32_t subscribers = 1000;
    uint32_t bytes = 0;
    double rate = 0;
    uint32_t keyEvery = 0;  ///< frames; 0: no frame is a key frame
    uint32_t keyBytes = 0;
    double seconds = 10;
    double waitSeconds = 30;
    std::string sample;         ///< an Ogg Opus stream to publish at its own pace; empty: frames of that rate and size
    uint32_t sampleFrames = 0;  ///< in that many seconds

    uint32_t Frames() const {
        return sample.empty() ? static_cast<uint32_t>(std::lround(rate * seconds)) : sampleFrames;
    }
    /// Of frames 1, 2 and so on.
    bool IsKey(uint32_t number) const { return keyEvery != 0 && (number - 1) % keyEvery == 0; }
};

/// One thread. Bounded in time by its options, and a few seconds.
class CLoad {
public:
    using TellServer = std::function<void(CServerWatch::News news, CServerWatch& watch)>;

    /// `tell`: what becomes of the server while subscribers wait for it.
    CLoad(const LoadMedium& medium, const LoadOptions& options, CToolLoop& loop, TellServer tell);

    /// Until every subscriber hears the publisher; false with the problem.
    bool Connect(std::string& problem);
    /// The frames that count, and a while for the last ones to come.
    void Measure();
    nlohmann::json Report() const;
    bool InVain() const { return m_watch.InVain(); }

private:
    static constexpr uint32_t kAtOnce = 32;  // a server takes 64 subscribers from one address on trust
    static constexpr uint64_t kTurnMs = 5;
    static constexpr uint64_t kBusyUs = 20000;  // so long links and signals may wait for frames to leave

    bool AllHear(uint64_t untilMs);
    /// Keeps as many links alive as one turn's share of a second is.
    void PollSome();
    /// That, and waits until the next frame is due or the turn is over.
    void LookAround(double leftUs);
    /// When the next frame shall leave.
    double DueUs(uint64_t nowUs);
    void PublishNext(uint64_t nowUs);
    void Hear(uint32_t subscriber, const char* data, int length);
    /// Shows who hears; counts for nothing.
    void PublishSign() { Publish(0, m_medium.head + kLoadHeadLength, false); }
    void Publish(uint32_t number, size_t bytes, bool key);
    void AwaitTheLast();

    const LoadMedium& m_medium;
    const LoadOptions m_options;
    CToolLoop& m_loop;
    const TellServer m_tell;
    CServerWatch m_watch;
    CLocalMcu m_mcu;
    CWake m_wake;
    CInbox m_publisherInbox;
    CLoadMeter m_meter;
    std::string m_frame;
    std::optional<CLoadSample> m_sample;
    std::unique_ptr<ILoadPublisher> m_publisher;
    std::vector<std::unique_ptr<CInbox>> m_inboxes;
    std::vector<std::unique_ptr<CLink>> m_links;
    size_t m_nNext = 0;  // to poll
    uint32_t m_nPublished = 0;
    double m_dDueUs = 0;
    double m_dSeconds = 0;
    double m_dCpuSeconds = 0;
    uint64_t m_nDroppedBefore = 0;
};

/// How many datagrams the kernel has dropped since, because the socket at that port was full; 0 where it does not tell.
uint64_t DatagramsDropped(unsigned short port);

/// The report in words.
std::string LoadText(const nlohmann::json& report);

}  // namespace lumo
