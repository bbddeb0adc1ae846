// The pages over HTTP, off the threads that carry the media.
#pragma once

#include "platform/lumobase/crit_sec.h"
#include "server/pages/metrics.h"
#include "server/status.h"

#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

class CPageServer;

/// GET / (the page), /api/streams, /metrics, /health. Answers only requests that name it by address, as localhost or by
/// one of the given names, so that no foreign web page can read it through a browser.
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

    IStatusSource& m_source;
    const uint32_t m_ulIP;
    const std::vector<std::string> m_names;
    uint16_t m_usPort;
    std::unique_ptr<CPageServer> m_pServer;
    std::thread m_thread;
    CCritSec m_csMetrics;
    CMetrics m_metrics LUMO_GUARDED_BY(m_csMetrics);
};
