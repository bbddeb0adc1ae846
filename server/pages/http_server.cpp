#include "server/pages/http_server.h"

#include "platform/lumonet/lumonet.h"
#include "server/pages/http_queue.h"
#include "server/pages/page.h"
#include "server/pages/page_server.h"
#include "server/pages/streams_json.h"
#include "server/server_options.h"

#include <httplib.h>

#include <algorithm>

using httplib::Request;
using httplib::Response;

namespace {

constexpr size_t kThreads = 4;
constexpr size_t kWaitingConnections = 16;
constexpr size_t kMaxBody = 1024;  // nothing here takes a body

void SetHeaders(Response& response) {
    response.set_header(
        "Content-Security-Policy",
        "default-src 'none'; img-src data:; script-src 'self'; style-src 'self'; connect-src 'self'; base-uri 'none'; "
        "form-action 'none'; frame-ancestors 'none'");
    response.set_header("X-Content-Type-Options", "nosniff");
    response.set_header("Referrer-Policy", "no-referrer");
    response.set_header("Cache-Control", "no-store");
}

}  // namespace

CHttpServer::CHttpServer(IStatusSource& source, uint32_t ip, uint16_t port, std::vector<std::string> names)
    : m_source(source),
      m_ulIP(ip),
      m_names(std::move(names)),
      m_usPort(port),
      m_pServer(std::make_unique<CPageServer>()) {}

CHttpServer::~CHttpServer() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_bEnding = true;
        m_ends.notify_all();
    }
    if (m_watch.joinable()) m_watch.join();
    m_pServer->CutAll();
    m_pServer->stop();
    if (m_thread.joinable()) m_thread.join();
}

bool CHttpServer::Start() {
    m_pServer->new_task_queue = [] { return new CHttpQueue(kThreads, kWaitingConnections); };
    m_pServer->set_payload_max_length(kMaxBody);
    AddPages();
    const std::string address = GetIpAddr(m_ulIP);
    if (m_usPort == 0) {
        const int port = m_pServer->bind_to_any_port(address.c_str());
        if (port <= 0) return false;
        m_usPort = static_cast<uint16_t>(port);
    } else if (!m_pServer->bind_to_port(address.c_str(), m_usPort)) {
        return false;
    }
    m_thread = std::thread([this] { m_pServer->listen_after_bind(); });
    m_watch = std::thread([this] { WatchHour(); });
    while (!m_pServer->is_running()) std::this_thread::yield();  // stop() before that would be lost
    return true;
}

// Names are refused but those that the operator gave: a browser may have been made to believe that one of them is this
// host. An address cannot be forged that way, so a server on all addresses takes any.
bool CHttpServer::IsOwnHost(const std::string& host) const {
    std::string name = SmallLetters(host);
    const auto given = [&] { return std::find(m_names.begin(), m_names.end(), name) != m_names.end(); };
    if (given()) return true;
    const size_t colon = name.find(':');
    if (colon != std::string::npos) {
        if (name.substr(colon + 1) != std::to_string(m_usPort)) return false;
        name.resize(colon);
    }
    if (name == "localhost" || name == "127.0.0.1" || given()) return true;
    uint32_t ip = 0;
    return ParseIpAddr(name, ip) && (m_ulIP == 0 || ip == m_ulIP);
}

std::string CHttpServer::MetricsText() {
    const CServerNumbers numbers = CServerNumbers::Of(m_source);
    const CProcessStatus process = ReadProcessStatus();
    CAutoLock lock(&m_csMetrics);
    return m_metrics.Text(numbers, process);
}

void CHttpServer::WatchHour() {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    for (auto due = start;; due += std::chrono::milliseconds(CHour::kBucketMs)) {
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            if (m_ends.wait_until(lock, due, [this] { return m_bEnding; })) return;
        }
        const CServerNumbers numbers = CServerNumbers::Of(m_source);
        const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
        std::lock_guard<std::mutex> lock(m_mutex);
        m_hour.Add(static_cast<uint64_t>(passed.count()), numbers, ReadProcessLoad(), ReadThreadSeconds());
    }
}

CPageLoad CHttpServer::Load() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return {std::thread::hardware_concurrency(), m_hour.Samples()};
}

void CHttpServer::AddHealth() {
    const auto answer = [](Response& response, bool well, const std::string& reason) {
        response.status = well ? 200 : 503;
        response.set_content(well ? "ok\n" : reason + "\n", "text/plain");
    };
    m_pServer->Get("/health", [=, this](const Request&, Response& response) {
        const CHealth health = m_source.Health();
        answer(response, health.alive, health.reason);
    });
    m_pServer->Get("/ready", [=, this](const Request&, Response& response) {
        const CHealth health = m_source.Health();
        answer(response, health.ready, health.reason);
    });
}

void CHttpServer::AddPages() {
    m_pServer->set_pre_routing_handler([this](const Request& request, Response& response) {
        SetHeaders(response);
        if (request.get_header_value_count("Host") == 1 && IsOwnHost(request.get_header_value("Host")))
            return httplib::Server::HandlerResponse::Unhandled;
        response.status = 403;
        response.set_content("This server answers to its own address and to the names given with --http-name.\n",
                             "text/plain");
        return httplib::Server::HandlerResponse::Handled;
    });
    const auto page = [this](const char* path, const char* type, auto make) {
        m_pServer->Get(path, [=](const Request&, Response& response) { response.set_content(make(), type); });
    };
    page("/", "text/html; charset=utf-8", [this] { return StreamsPage(m_source.Status(), Load()); });
    page("/page.css", "text/css", [] { return std::string(kPageStyle); });
    page("/page.js", "text/javascript", [] { return std::string(kPageScript); });
    page("/api/streams", "application/json", [this] { return StreamsJson(m_source.Status()); });
    page("/metrics", "text/plain; version=0.0.4", [this] { return MetricsText(); });
    AddHealth();
}
