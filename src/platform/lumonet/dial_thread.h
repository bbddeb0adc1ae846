// The thread on which libcurl dials through proxies. It lives while a dial is in progress.
#pragma once

#include "platform/lumobase/crit_sec.h"
#include "platform/lumobase/thread.h"
#include "platform/lumonet/proxy_dialler.h"

#include <curl/curl.h>
#include <map>
#include <memory>
#include <vector>

/// Of a dial that has ended with `result`, which is not CURLE_OK.
CProxyFailure ProxyFailureOf(CURL* easy, CURLcode result);

class CDialThread final : public CThread {
public:
    struct Request {
        CProxyServer proxy;
        std::string target;
        uint16_t port = 0;
        CProxyDial::Done done;
    };

    /// The one of the process.
    static CDialThread& Instance();

    /// Throws when there is no thread or no memory. Otherwise the dial's number, never 0.
    uint64_t Add(Request request);
    void Cancel(uint64_t id);
    /// At unload: drops every dial and waits until the thread has ended.
    void Stop();

private:
    struct EasyCleanup {
        void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
    };
    struct MultiCleanup {
        void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
    };
    using Easy = std::unique_ptr<CURL, EasyCleanup>;
    using Multi = std::unique_ptr<CURLM, MultiCleanup>;
    struct Dial {
        Easy easy;
        CProxyDial::Done done;
    };

    uint32_t ThreadProcMain() override;
    void Serve();
    void Wake() LUMO_REQUIRES(m_cs);
    bool TakeRequests(std::map<uint64_t, Request>& requests, std::vector<uint64_t>& cancelled);
    void Begin(uint64_t id, const Request& request);
    static bool SetUp(CURL* easy, const Request& request);
    void Finish();
    void End(uint64_t id, CFileDescriptor socket, const CProxyFailure& failure);
    void Drop(uint64_t id);

    CCritSec m_cs;
    std::map<uint64_t, Request> m_requests LUMO_GUARDED_BY(m_cs);
    std::vector<uint64_t> m_cancelled LUMO_GUARDED_BY(m_cs);
    uint64_t m_nLastID LUMO_GUARDED_BY(m_cs) = 0;
    bool m_bServing LUMO_GUARDED_BY(m_cs) = false;
    bool m_bStopping LUMO_GUARDED_BY(m_cs) = false;
    CURLM* m_pWakeable LUMO_GUARDED_BY(m_cs) = nullptr;

    Multi m_multi;                     // the thread's
    std::map<uint64_t, Dial> m_dials;  // the thread's
};
