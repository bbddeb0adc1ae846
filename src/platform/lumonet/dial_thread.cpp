#include "platform/lumonet/dial_thread.h"

#include "platform/lumobase/app_log.h"
#include "platform/lumonet/socket_address.h"

#include <pthread.h>
#include <mutex>
#include <stdexcept>

namespace {

constexpr int kPollMs = 1000;  // a wake-up ends it early

long CurlProxyType(ProxyType type) {
    switch (type) {
        case ProxyType::Socks4a:
            return CURLPROXY_SOCKS4;  // the target is an address: nothing for the proxy to look up, and all take this
        case ProxyType::Socks5:
            return CURLPROXY_SOCKS5;
        default:
            return CURLPROXY_HTTP;
    }
}

curl_socket_t OpenForCurl(void*, curlsocktype, curl_sockaddr* address) {
    return OpenSocket(address->socktype, address->family, address->protocol).Take();
}

}  // namespace

CDialThread& CDialThread::Instance() {
    struct Unload {
        CDialThread& thread;
        ~Unload() { thread.Stop(); }
    };
    static CDialThread& thread = *new CDialThread;  // never destroyed: connections may outlive any static
    static const Unload unload{thread};
    return thread;
}

uint64_t CDialThread::Add(Request request) {
    CAutoLock lock(&m_cs);
    const uint64_t id = ++m_nLastID;
    m_requests.emplace(id, std::move(request));
    if (!m_bServing) {
        WaitForStop();  // of the life before, which needs this lock no more
        m_bServing = !m_bStopping && StartThread();
        if (!m_bServing) {
            m_requests.clear();
            throw std::runtime_error("no thread");
        }
    }
    Wake();
    return id;
}

void CDialThread::Cancel(uint64_t id) {
    CAutoLock lock(&m_cs);
    if (m_requests.erase(id) > 0 || !m_bServing) return;
    m_cancelled.push_back(id);
    Wake();
}

void CDialThread::Stop() {
    {
        CAutoLock lock(&m_cs);
        m_bStopping = true;
        Wake();
    }
    WaitForStop();
}

void CDialThread::Wake() {
    if (m_pWakeable) curl_multi_wakeup(m_pWakeable);
}

uint32_t CDialThread::ThreadProcMain() {
    pthread_setname_np(pthread_self(), "lumo-dial");
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
    m_multi.reset(curl_multi_init());
    {
        CAutoLock lock(&m_cs);
        m_pWakeable = m_multi.get();
    }
    try {
        Serve();
    } catch (...) {  // the dials that are dropped run into their callers' time limit
        LUMO_LOG_ERROR("CDialThread::ThreadProcMain. no memory");
        CAutoLock lock(&m_cs);
        m_bServing = false;
        m_pWakeable = nullptr;
    }
    while (!m_dials.empty()) Drop(m_dials.begin()->first);
    m_multi.reset();
    return 0;
}

void CDialThread::Serve() {
    std::map<uint64_t, Request> requests;
    std::vector<uint64_t> cancelled;
    while (TakeRequests(requests, cancelled)) {
        for (const uint64_t id : cancelled) Drop(id);
        for (const auto& [id, request] : requests) Begin(id, request);
        int running = 0;
        curl_multi_perform(m_multi.get(), &running);
        Finish();
        if (!m_dials.empty()) curl_multi_poll(m_multi.get(), nullptr, 0, kPollMs, nullptr);
    }
}

// False when there is nothing left to do; the next Add starts the thread anew.
bool CDialThread::TakeRequests(std::map<uint64_t, Request>& requests, std::vector<uint64_t>& cancelled) {
    requests.clear();
    cancelled.clear();
    CAutoLock lock(&m_cs);
    requests.swap(m_requests);
    cancelled.swap(m_cancelled);
    m_bServing = !m_bStopping && !(requests.empty() && m_dials.empty());
    if (!m_bServing) m_pWakeable = nullptr;
    return m_bServing;
}

void CDialThread::Begin(uint64_t id, const Request& request) {
    const auto [dial, isNew] = m_dials.emplace(id, Dial{Easy(curl_easy_init()), request.done});
    CURL* easy = dial->second.easy.get();
    if (!easy || !SetUp(easy, request) || curl_multi_add_handle(m_multi.get(), easy) != CURLM_OK)
        End(id, CFileDescriptor(), {ProxyFault::Other, "there is no room for another dial"});
}

bool CDialThread::SetUp(CURL* easy, const Request& request) {
    const CProxyServer& proxy = request.proxy;
    const std::string url = "http://" + request.target + ":" + std::to_string(request.port) + "/";
    bool good = true;
    const auto set = [&](CURLoption option, auto value) { good &= curl_easy_setopt(easy, option, value) == CURLE_OK; };
    set(CURLOPT_URL, url.c_str());
    set(CURLOPT_CONNECT_ONLY, 1L);
    set(CURLOPT_HTTPPROXYTUNNEL, 1L);
    set(CURLOPT_PROXYTYPE, CurlProxyType(proxy.type));
    set(CURLOPT_PROXY, proxy.host.c_str());
    set(CURLOPT_PROXYPORT, long{proxy.port});
    set(CURLOPT_NOPROXY, "");  // whatever the environment says
    if (!proxy.user.empty() || !proxy.password.empty()) {
        set(CURLOPT_PROXYUSERNAME, proxy.user.c_str());
        set(CURLOPT_PROXYPASSWORD, proxy.password.c_str());
        set(CURLOPT_PROXYAUTH, long{CURLAUTH_BASIC | CURLAUTH_DIGEST});
    }
    set(CURLOPT_OPENSOCKETFUNCTION, &OpenForCurl);
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_QUICK_EXIT, 1L);  // a cancelled dial does not wait for its name to be resolved
    return good;
}

// Hands out what has been dialled. The descriptor is a second one: libcurl closes its own.
void CDialThread::Finish() {
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(m_multi.get(), &left)) {
        if (message->msg != CURLMSG_DONE) continue;
        CURL* easy = message->easy_handle;
        CFileDescriptor socket;
        CProxyFailure failure;
        curl_socket_t fd = CURL_SOCKET_BAD;
        if (message->data.result != CURLE_OK) {
            LUMO_LOG_ERROR("CDialThread::Finish. %s", curl_easy_strerror(message->data.result));
            failure = ProxyFailureOf(easy, message->data.result);
        } else if (curl_easy_getinfo(easy, CURLINFO_ACTIVESOCKET, &fd) == CURLE_OK && fd != CURL_SOCKET_BAD) {
            socket = Duplicate(fd);
        }
        for (const auto& [id, dial] : m_dials) {
            if (dial.easy.get() != easy) continue;
            End(id, std::move(socket), failure);
            break;
        }
    }
}

void CDialThread::End(uint64_t id, CFileDescriptor socket, const CProxyFailure& failure) {
    const CProxyDial::Done done = std::move(m_dials.at(id).done);
    Drop(id);
    done(std::move(socket), failure);
}

void CDialThread::Drop(uint64_t id) {
    const auto dial = m_dials.find(id);
    if (dial == m_dials.end()) return;
    if (dial->second.easy) curl_multi_remove_handle(m_multi.get(), dial->second.easy.get());
    m_dials.erase(dial);
}
