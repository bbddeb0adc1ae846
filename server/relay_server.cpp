#include "server/relay_server.h"

#include "platform/lumobase/memory_budget.h"
#include "platform/lumonet/bind_problem.h"
#include "server/pages/http_server.h"
#include "server/server_manager.h"
#include "server/signalling/reflector.h"

#include <utility>

namespace {

std::string WithReason(const char* what, uint32_t ip, uint16_t port, ListenOver over) {
    const std::string problem = BindProblem(ip, port, over);
    return what + EndpointText(ip, port) + (problem.empty() ? "" : ": " + problem);
}

}  // namespace

CRelayServer::CRelayServer(const CServerOptions& options) : m_options(options), m_log(options.jsonLog) {}

CRelayServer::CRelayServer(const CServerOptions& options, std::function<void(const std::string&)> takeLine)
    : m_options(options), m_log(std::move(takeLine), options.jsonLog) {}

CRelayServer::~CRelayServer() { Stop(); }

bool CRelayServer::Start(std::string& error) {
    m_pManager = new CServerManager(m_options, m_log);
    if (!m_pManager->Connect(m_options.port)) {
        error = WithReason("cannot listen on ", m_options.listenIP, m_options.port, ListenOver::Both);
        Stop();
        return false;
    }
    if ((m_options.reflector && !StartReflector(error)) || (m_options.http && !StartPages(error))) {
        Stop();
        return false;
    }
    m_log.Line(
        "listening on " + EndpointText(m_options.listenIP, Port()) + " (udp and tcp)" +
        (m_pReflector ? ", reflector on port " + std::to_string(m_pReflector->Port())
                      : ", without a second reflector") +
        (m_pPages ? ", pages at http://" + EndpointText(m_options.httpIP, HttpPort()) + "/" : ", without pages"));
    m_log.Line("room for " + std::to_string(m_options.limits.connections) + " connections, " +
               std::to_string(CServerLimits::Quota(m_options.limits.connections)) + " from one address, " +
               std::to_string(m_options.limits.boardBytes >> 20) + " MiB of whiteboards and " +
               std::to_string((SendBudget().Limit() + ReceiveBudget().Limit()) >> 20) + " MiB of what waits");
    return true;
}

bool CRelayServer::StartReflector(std::string& error) {
    const uint16_t next = m_options.port == 0 ? uint16_t{0} : static_cast<uint16_t>(m_options.port + 1);
    const uint16_t port = m_options.reflectorAsked ? m_options.reflectorPort : next;
    m_pReflector = std::make_unique<CReflector>([this](uint32_t ip) { return m_pManager->Allows(ip); });
    if (m_pReflector->Open(m_options.listenIP, port)) return true;
    m_pReflector.reset();
    error = WithReason("cannot reflect addresses on ", m_options.listenIP, port, ListenOver::Udp);
    if (!m_options.reflectorAsked) m_log.Warn(error);
    return !m_options.reflectorAsked;
}

// The usual port may belong to another server of this host; that is no reason not to serve.
bool CRelayServer::StartPages(std::string& error) {
    m_pPages = std::make_unique<CHttpServer>(*m_pManager, m_options.httpIP, m_options.httpPort, m_options.httpNames);
    if (m_pPages->Start()) return true;
    m_pPages.reset();
    error = WithReason("cannot serve pages on ", m_options.httpIP, m_options.httpPort, ListenOver::Tcp);
    if (!m_options.httpAsked) m_log.Warn(error);
    return !m_options.httpAsked;
}

void CRelayServer::Change(const CServerOptions& next) {
    const CServerOptions changed = m_options.Changed(next);
    if (!m_pManager || !m_pManager->Change(changed)) return m_log.Warn("the options have changed too often; restart");
    m_log.Line(changed == m_options ? "the options have been read again: nothing has changed"
                                    : "the options have been read again: allowed addresses, relay targets or limits "
                                      "have changed");
    CServerOptions rest = next;
    rest.limits.connections = m_options.limits.connections;
    if (!(changed == rest)) m_log.Warn("what else has changed in the options takes effect at the next start");
    m_options = changed;
}

void CRelayServer::Stop() {
    if (m_pManager) m_pManager->Drain();
    m_pPages.reset();  // it asks the manager
    if (!m_pManager) return;
    m_pReflector.reset();
    std::exchange(m_pManager, nullptr)->ReleaseConnections();
    m_log.Line("ended");
}

uint16_t CRelayServer::Port() const { return m_pManager ? m_pManager->GetLocalPort() : uint16_t{0}; }

uint16_t CRelayServer::HttpPort() const { return m_pPages ? m_pPages->Port() : uint16_t{0}; }
