// The pages over HTTP, off the threads that carry the media.
#pragma once

#include "platform/lumobase/crit_sec.h"
#include "server/pages/hour.h"
#include "server/pages/metrics.h"
#include "server/pages/verdict.h"
#include "server/status.h"

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class CPageServer;

/// GET / (the page), /api/streams, /metrics, /health (whether it lives), /ready (whether it takes newcomers). Answers
/// only requests that name it by address, as localhost or by one of the given names, so that no foreign web page can
/// read it through a browser.
class CHttpServer {
public:
    /// Names in small letters.
    CHttpServer(IStatusSource& source, uint32_t ip, uint16_t port, std::vector<std::string> names = {});
    ~CHttpServer();
    CHttpServer(const CHttpServer&) = delete;
    CHttpServer& operator=(const CHttpServer&) = delete;

    /// False when the endpoint is not to be had.
    bool Start();
    uint16_t Port() const { return m_usPort; }

private:
    bool IsOwnHost(const std::string& host) const;
    void AddPages();
    std::string MetricsText();
    void AddHealth();
    /// A sample of the last hour every ten seconds, until the end.
    void WatchHour();
    CPageLoad Load();

    IStatusSource& m_source;
    const uint32_t m_ulIP;
    const std::vector<std::string> m_names;
    uint16_t m_usPort;
    std::unique_ptr<CPageServer> m_pServer;
    std::thread m_thread;
    std::thread m_watch;
    std::mutex m_mutex;
    std::condition_variable m_ends;
    bool m_bEnding = false;  // both under m_mutex
    CHour m_hour;
    CCritSec m_csMetrics;
    CMetrics m_metrics LUMO_GUARDED_BY(m_csMetrics);
};
