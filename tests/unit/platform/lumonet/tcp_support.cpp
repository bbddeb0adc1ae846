#include "tcp_support.h"

#include "support/session_wire.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace tcp_test {

void CEvents::Add(const std::string& event) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_events.push_back(event);
    m_changed.notify_all();
}

std::vector<std::string> CEvents::Await(size_t count) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_for(lock, kLongEnough, [&] { return m_events.size() >= count; });
    return m_events;
}

bool CEvents::WaitFor(const std::string& event) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, kLongEnough,
                              [&] { return std::count(m_events.begin(), m_events.end(), event) > 0; });
}

size_t CEvents::Count(const std::string& event) const {
    const std::vector<std::string> all = All();
    return static_cast<size_t>(std::count(all.begin(), all.end(), event));
}

std::string Validation(uint32_t type, const std::string& payload) {
    return session_wire::U32(type) + session_wire::U32(static_cast<uint32_t>(payload.size())) + payload;
}

std::string FrameEvent(const std::string& frame) {
    if (frame.size() <= 64) return "frame " + frame;
    return "frame of " + std::to_string(frame.size()) + " hash " + std::to_string(std::hash<std::string>()(frame));
}

bool CClient::Dial(uint16_t port, ProxyType proxy, uint16_t proxyPort, const std::string& user,
                   const std::string& password) {
    const char* const proxyHost = proxy == ProxyType::None ? "" : "127.0.0.1";
    return Make([&] {
        return CreateTcpClient(this, "127.0.0.1", port, static_cast<int>(proxy), proxyHost, proxyPort, user, password);
    });
}

void CClient::OnTcpClientNotifyConnected() {
    Note("connected");
    if (!m_bSilent) Send(Validation(7, "hello"), 1);
}

bool CClient::OnTcpClientNotifyValidate(unsigned long type, const char* data, int length) {
    Note("answer " + std::to_string(type) + " " + std::string(data, static_cast<size_t>(length)));
    return m_bTakesAnswer;
}

bool CClient::OnTcpClientNotifyReceivedFrame(const char* data, int length) {
    Note(FrameEvent({data, static_cast<size_t>(length)}));
    return m_bTakesFrames;
}

bool CSession::OnTcpSessionNotifyReceivedFrame(const char* data, int length) {
    Note(FrameEvent({data, static_cast<size_t>(length)}));
    return m_bTakesFrames;
}

CServer::CServer(ITcpAcceptFilter* filter) {
    for (int i = 0; i < 50 && !Listen(FreePort(), filter); ++i) {}  // somebody else may take the port first
}

bool CServer::Listen(uint16_t port, ITcpAcceptFilter* filter) {
    m_usPort = port;
    return Make([&] { return CreateTcpServerAt(this, {kLoopback, port, filter}); });
}

CSession* CServer::Session(size_t n) {
    CSession* session = nullptr;
    Eventually([&] {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_sessions.size() > n) session = m_sessions[n].get();
        return session != nullptr;
    });
    return session;
}

CSession* CServer::Add(std::unique_ptr<CSession> session) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_sessions.emplace_back(std::move(session)).get();
}

std::unique_ptr<CSession> CServer::TakeLast() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_sessions.empty()) return nullptr;
    std::unique_ptr<CSession> last = std::move(m_sessions.back());
    m_sessions.pop_back();
    return last;
}

CSession* CServer::Keep(ITcpSession* session, bool attach) {
    ITcpServer* const net = Net();
    if (!net || !net->AcceptSession(session)) return nullptr;
    auto kept = std::make_unique<CSession>(session);
    if (attach) session->SetNotify(kept.get());
    kept->Send(Validation(8, "welcome"), 1);
    return Add(std::move(kept));
}

bool CServer::OnTcpServerNotifyValidate(ITcpSession* session, unsigned long type, const char* data, int length) {
    Note("validate " + std::to_string(type) + " " + std::string(data, static_cast<size_t>(length)));
    return m_onValidate ? m_onValidate(*this, session) : Keep(session) != nullptr;
}

bool ThreadLives(const std::string& name) {
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string its;
        std::getline(std::ifstream(task.path() / "comm"), its);
        if (its == name) return true;
    }
    return false;
}

}  // namespace tcp_test
