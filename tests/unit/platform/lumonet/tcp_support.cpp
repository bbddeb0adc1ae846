#include "tcp_support.h"

#include "platform/lumonet/socket_address.h"
#include "support/session_wire.h"

#include <poll.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

namespace tcp_test {

namespace {

std::string Length(const std::string& body) { return session_wire::U32(static_cast<uint32_t>(body.size())); }

bool Ready(int fd, short events) {
    pollfd waiting{fd, events, 0};
    return poll(&waiting, 1, 1000 * static_cast<int>(kLongEnough.count())) > 0;
}

}  // namespace

void CEvents::Add(const std::string& event) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_events.push_back(event);
    m_changed.notify_all();
}

std::vector<std::string> CEvents::All() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_events;
}

size_t CEvents::Count(const std::string& event) const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return static_cast<size_t>(std::count(m_events.begin(), m_events.end(), event));
}

bool CEvents::WaitUntil(const std::function<bool()>& condition) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, kLongEnough, condition);
}

bool Eventually(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + kLongEnough;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

std::string Validation(uint32_t type, const std::string& payload) {
    return session_wire::U32(type) + Length(payload) + payload;
}

std::string Framed(int kind, const std::string& body) { return Length(body) + static_cast<char>(kind) + body; }

std::string FrameEvent(const char* data, size_t length) {
    if (length <= 64) return "frame " + std::string(data, length);
    uint32_t sum = 0;
    for (size_t i = 0; i < length; ++i) sum = sum * 31 + static_cast<unsigned char>(data[i]);
    return "frame of " + std::to_string(length) + " sum " + std::to_string(sum);
}

bool CClient::Dial(uint16_t port, ProxyType proxy, uint16_t proxyPort, const std::string& user,
                   const std::string& password) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_pNet = CreateTcpClient(this, "127.0.0.1", port, static_cast<int>(proxy),
                             proxy == ProxyType::None ? "" : "127.0.0.1", proxyPort, user, password);
    return m_pNet != nullptr;
}

ITcpClient* CClient::Net() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_pNet;
}

void CClient::Release() {
    ITcpClient* net = nullptr;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        std::swap(net, m_pNet);
    }
    if (net) net->ReleaseConnections();
}

void CClient::Send(const std::string& frame, int mode) {
    if (ITcpClient* net = Net()) net->SendData(frame.data(), static_cast<int>(frame.size()), mode);
}

void CClient::OnTcpClientNotifyConnected() {
    m_events.Add("connected");
    if (!m_bSilent) Send(Validation(7, "hello"), 1);
}

bool CClient::OnTcpClientNotifyValidate(unsigned long type, const char* data, int length) {
    m_events.Add("answer " + std::to_string(type) + " " + std::string(data, static_cast<size_t>(length)));
    return m_bTakesAnswer;
}

bool CClient::OnTcpClientNotifyReceivedFrame(const char* data, int length) {
    m_events.Add(FrameEvent(data, static_cast<size_t>(length)));
    if (m_onFrame) m_onFrame();
    return m_bTakesFrames;
}

void CSession::Release() {
    if (m_pNet) m_pNet->ReleaseConnections();
    m_pNet = nullptr;
}

void CSession::Send(const std::string& frame, int mode) {
    m_pNet->SendData(frame.data(), static_cast<int>(frame.size()), mode);
}

bool CSession::OnTcpSessionNotifyReceivedFrame(const char* data, int length) {
    m_events.Add(FrameEvent(data, static_cast<size_t>(length)));
    return m_bTakesFrames;
}

CServer::CServer(ITcpAcceptFilter* filter) {
    for (int i = 0; i < 50 && !m_pNet; ++i) {  // somebody else may take the port first
        m_usPort = FreePort();
        TcpServerOptions options;
        options.localIP = kLoopback;
        options.port = m_usPort;
        options.filter = filter;
        m_pNet = CreateTcpServerAt(this, options);
    }
}

void CServer::Release() {
    if (m_pNet) m_pNet->ReleaseConnections();
    m_pNet = nullptr;
}

CSession* CServer::Session(size_t n) {
    const auto there = [&] {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_sessions.size() > n;
    };
    if (!Eventually(there)) return nullptr;
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_sessions[n].get();
}

bool CServer::Keep(ITcpSession* session, bool attach) {
    if (!m_pNet->AcceptSession(session)) return false;
    auto kept = std::make_unique<CSession>(session);
    if (attach) session->SetNotify(kept.get());
    kept->Send(Validation(8, "welcome"), 1);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_sessions.push_back(std::move(kept));
    return true;
}

bool CServer::OnTcpServerNotifyValidate(ITcpSession* session, unsigned long type, const char* data, int length) {
    m_events.Add("validate " + std::to_string(type) + " " + std::string(data, static_cast<size_t>(length)));
    return m_onValidate ? m_onValidate(*this, session) : Keep(session);
}

CRawPeer CRawPeer::Dial(uint16_t port, const std::string& first, int receiveBuffer) {
    CRawPeer peer(OpenSocket(SOCK_STREAM).Take());
    if (receiveBuffer > 0) setsockopt(peer.Fd(), SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    const sockaddr_in address = ToSocketAddress(kLoopback, port);
    if (connect(peer.Fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return CRawPeer(-1);
    peer.Send(first);
    return peer;
}

bool CRawPeer::Send(const std::string& bytes) {
    for (size_t sent = 0; sent < bytes.size();) {
        if (!Ready(m_fd.Get(), POLLOUT)) return false;
        const ssize_t length = send(m_fd.Get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (length < 0) return false;
        sent += static_cast<size_t>(length);
    }
    return true;
}

size_t CRawPeer::SendSome(const std::string& bytes) {
    const ssize_t length = send(m_fd.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    return length < 0 ? 0 : static_cast<size_t>(length);
}

std::string CRawPeer::Read(size_t length) {
    std::string bytes(length, '\0');
    size_t got = 0;
    while (got < length && Ready(m_fd.Get(), POLLIN)) {
        const ssize_t some = recv(m_fd.Get(), bytes.data() + got, length - got, 0);
        if (some <= 0) break;
        got += static_cast<size_t>(some);
    }
    return bytes.substr(0, got);
}

std::string CRawPeer::ReadAll(bool* closed) {
    std::string bytes;
    char some[65536];
    ssize_t length = 1;
    while (length > 0 && Ready(m_fd.Get(), POLLIN)) {
        length = recv(m_fd.Get(), some, sizeof some, 0);
        bytes.append(some, static_cast<size_t>(std::max<ssize_t>(length, 0)));
    }
    if (closed) *closed = length <= 0;
    return bytes;
}

bool CRawPeer::IsClosed() {
    bool closed = false;
    ReadAll(&closed);
    return closed;
}

CRawListener::CRawListener(int backlog) : m_fd(OpenSocket(SOCK_STREAM)) {
    sockaddr_in address = ToSocketAddress(kLoopback, 0);
    socklen_t length = sizeof address;
    if (bind(m_fd.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return;
    if (listen(m_fd.Get(), backlog) != 0) return;
    getsockname(m_fd.Get(), reinterpret_cast<sockaddr*>(&address), &length);
    m_usPort = ntohs(address.sin_port);
}

CRawPeer CRawListener::Accept() {
    return CRawPeer(Ready(m_fd.Get(), POLLIN) ? accept4(m_fd.Get(), nullptr, nullptr, SOCK_CLOEXEC) : -1);
}

uint16_t FreePort() { return CRawListener().Port(); }

bool ThreadLives(const std::string& name) {
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string its;
        std::getline(std::ifstream(task.path() / "comm"), its);
        if (its == name) return true;
    }
    return false;
}

}  // namespace tcp_test
