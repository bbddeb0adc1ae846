#include "mcu/local_mcu_manager.h"

#include "link/activity.h"
#include "link/callback.h"
#include "link/process/due_links.h"
#include "link/process/mcu_services.h"
#include "link/process/work_signal.h"
#include "mcu/manager_use.h"
#include "p2p/mtp2p.h"
#include "p2p/p2p_packets.h"
#include "platform/lumobase/app_log.h"
#include "platform/lumobase/memory_budget.h"
#include "platform/lumobase/undo.h"

#include <exception>

using wire::Kind;

namespace {
constexpr int kConnectAttempts = 10;
constexpr uint32_t kSecondMs = 1000;

// Without a peer-to-peer manager there is no reflector.
bool IsSunServer(uint32_t ip) {
    CMTP2P* p2p = GetP2PMgr();
    return p2p && p2p->IsSunServer(ip);
}
}  // namespace

CLocalMCUManager::CLocalMCUManager() : m_ulLastSecond(CActivity::Now()) {
    Instances().pManager.store(this, std::memory_order_release);
    budgets::SetAlarm([] { CWorkSignal::Get().Wake(); });
}

CLocalMCUManager::~CLocalMCUManager() { Instances().pManager.store(nullptr, std::memory_order_release); }

bool CLocalMCUManager::Connect(unsigned long port) {
    LUMO_LOG_LINE("CLocalMCUManager::Connect(ulUDPPort : %u)", static_cast<uint32_t>(port));
    for (int attempt = 0; attempt < kConnectAttempts; ++attempt) {
        try {
            return OpenEndpoints(port) && StartThread();
        } catch (...) {
            CloseListener();
            CloseEndpoint();
        }
    }
    return false;
}

bool CLocalMCUManager::OpenEndpoints(unsigned long port) {
    if (!m_pUdpClient) m_pUdpClient = CreateUdpClient(this, 0);
    if (!m_pUdpClient) return false;
    LUMO_LOG_LINE("CreateUdpClient success. Port : %d", static_cast<int>(port));
    if (!m_pTcpServer) m_pTcpServer = CreateTcpServer(this, GetLocalPort());
    if (!m_pTcpServer) return false;
    LUMO_LOG_LINE("CreateTcpServer success. Port : %d", static_cast<int>(port));
    return true;
}

unsigned short CLocalMCUManager::GetLocalPort() {
    IUdpClient* endpoint = UdpEndpoint();
    return endpoint ? endpoint->GetLocalPort() : uint16_t{0};
}

void CLocalMCUManager::ReleaseConnections() {
    if (RefusesRelease("The local MCU", 0)) return;
    m_bStop = true;
    CWorkSignal::Get().Wake();
    WaitForStop();
    ReleaseMedia();
    CloseListener();
    Instances().pManager.store(nullptr, std::memory_order_seq_cst);
    CloseEndpoint();
    ReleaseMedia();  // what arrived in between
    delete this;
}

// Audio, video, whiteboard, desktop, file: the order in which they end.
void CLocalMCUManager::ReleaseMedia() {
    m_localMCUAudio.ReleaseConnections();
    m_localMCUVideo.ReleaseConnections();
    m_localMCUWB.ReleaseConnections();
    m_localMCUDesktop.ReleaseConnections();
    m_localMCUFile.ReleaseConnections();
}

void CLocalMCUManager::CloseListener() {
    if (ITcpServer* listener = m_pTcpServer.exchange(nullptr)) listener->ReleaseConnections();
}

void CLocalMCUManager::CloseEndpoint() {
    IUdpClient* endpoint = m_pUdpClient.exchange(nullptr, std::memory_order_seq_cst);
    CManagerUse::WaitForOthers();
    if (endpoint) endpoint->ReleaseConnections();
}

void CLocalMCUManager::SendUdpData(const char* data, int length, uint32_t ip, uint16_t port) {
    if (AppLog().IsOn(LogLevel::Debug) && !IsSunServer(ip))
        LUMO_LOG_DEBUG("SendUdpData(nLen = %d, IP : %s, Port : %d)", length, GetIpAddr(ip).c_str(), port);
    if (!MaySend(ip, length)) return;
    if (IUdpClient* endpoint = UdpEndpoint()) endpoint->SendData(data, length, ip, port);
}

bool CLocalMCUManager::AcceptTcpSession(ITcpSession* session) {
    ITcpServer* listener = m_pTcpServer.load(std::memory_order_acquire);
    return listener && listener->AcceptSession(session);
}

void CLocalMCUManager::OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip,
                                                      unsigned short port) {
    if (length < 1) return;
    const auto kind = static_cast<uint8_t>(data[0]);
    LUMO_LOG_DEBUG("CLocalMCUManager::OnUdpClientNotifyReceivedFrame. CMD : %d, Len : %d, IP : %s, Port : %d", kind,
                   length, GetIpAddr(ip).c_str(), port);
    const char* name = wire::KindName(kind);
    if (!name) return;
    LUMO_LOG_DEBUG("%s", name);
    if (static_cast<Kind>(kind) == Kind::Audio)
        m_localMCUAudio.OnUdpClientNotifyReceivedFrame(data + 1, length - 1, ip, port);
    else if (static_cast<Kind>(kind) == Kind::Video)
        m_localMCUVideo.OnUdpClientNotifyReceivedFrame(data + 1, length - 1, ip, port);
    else if (static_cast<Kind>(kind) == Kind::Desktop)
        m_localMCUDesktop.OnUdpClientNotifyReceivedFrame(data + 1, length - 1, ip, port);
    else if (static_cast<Kind>(kind) == Kind::Whiteboard)
        m_localMCUWB.OnUdpWBFrame(data + 1, length - 1, ip, port);
    else if (static_cast<Kind>(kind) == Kind::File)
        m_localMCUFile.OnUdpClientNotifyReceivedFrame(data + 1, length - 1, ip, port);
    else
        OnOtherDatagram(static_cast<Kind>(kind), data + 1, length - 1, static_cast<uint32_t>(ip), port);
}

void CLocalMCUManager::OnUdpClientNotifyBurstBegin() {
    Lumo_Base::CTimeHold::Begin();
    CDueLinks::Get().BeginBurst();
    if (IUdpClient* endpoint = UdpEndpoint()) endpoint->BeginBatch();
}

void CLocalMCUManager::OnUdpClientNotifyBurstEnd() {
    const CUndo endBatch([this] {
        Lumo_Base::CTimeHold::End();
        if (IUdpClient* endpoint = UdpEndpoint()) endpoint->EndBatch();
    });
    CDueLinks::Get().EndBurst(Lumo_Base::GetMicroseconds());
}

bool CLocalMCUManager::OnTcpServerNotifyValidate(ITcpSession* session, unsigned long type, const char* data,
                                                 int length) {
    const auto service = static_cast<uint32_t>(type);
    IServerHooks* hooks = GetServerHooks();
    if (hooks && !hooks->AdmitTcp(session, service, data, length)) return false;
    bool kept = false;
    if (service == static_cast<uint32_t>(wire::TcpType::DesktopReceiver))
        kept = m_localMCUDesktop.OnTcpServerNotifyValidate(session, type, data, length);
    else if (service == static_cast<uint32_t>(wire::TcpType::FileReceiver))
        kept = m_localMCUFile.OnTcpServerNotifyValidate(session, type, data, length);
    else if (service == static_cast<uint32_t>(wire::TcpType::Whiteboard))
        kept = m_localMCUWB.OnTcpServerNotifyValidate(session, type, data, length);
    return kept || (hooks && hooks->OnTcpValidate(session, service, data, length));
}

bool CLocalMCUManager::RunTurn() {
    budgets::Relieve();
    CUdpBatch batch;
    const uint32_t now = CActivity::Now();
    if (now - m_ulLastSecond > kSecondMs) {
        RunSecond();
        m_ulLastSecond = now;
    }
    CDueLinks::Get().Run(Lumo_Base::GetMicroseconds());
    const bool sent = CWorkSignal::Get().AnyBusy() && Pump();
    return OnTurn() || sent;
}

// Video, whiteboard, desktop, file: every one of them, every turn.
bool CLocalMCUManager::Pump() {
    bool sent = m_localMCUVideo.ProcessSend();
    sent = m_localMCUWB.ProcessWBSend() || sent;
    sent = m_localMCUDesktop.ProcessSend() || sent;
    sent = m_localMCUFile.ProcessSend() || sent;
    return sent;
}

void CLocalMCUManager::RunSecond() {
    budgets::OnSecond();
    m_localMCUAudio.OnTimer();
    m_localMCUVideo.OnTimer();
    m_localMCUWB.CheckWBServerSessions();
    m_localMCUDesktop.OnTimer();
    m_localMCUFile.OnTimer();
    if (ITcpServer* listener = m_pTcpServer.load(std::memory_order_acquire)) listener->CheckTimeout();
    if (CMTP2P* p2p = GetP2PMgr()) p2p->SendSTUNRequest();
    OnSecond();
}

void CLocalMCUManager::OnOtherDatagram(Kind kind, const char* body, int length, uint32_t ip, uint16_t port) {
    CMTP2P* peers = GetP2PMgr();
    if (!peers) return;
    if (kind == Kind::Stun) return peers->OnSTUNReply(body, length, ip, port);
    if (length != p2p::kProbeBody || (kind != Kind::P2P && kind != Kind::P2PAck)) return;
    if (kind == Kind::P2P) {
        const wire::CWireWriter answer = p2p::Probe(Kind::P2PAck, peers->LocalUserID());
        for (int i = 0; i < p2p::kRepeats; ++i) SendUdpData(answer.Data(), answer.Length(), ip, port);
    }
    peers->OnP2PConnected(p2p::ProbeUser(body), ip, port);
}

uint32_t CLocalMCUManager::ThreadProcMain() {
    m_ulLastSecond = CActivity::Now();
    while (!m_bStop.load(std::memory_order_relaxed))
        if (!TryTurn()) CWorkSignal::Get().Sleep();
    return 0;
}

// A turn that fails, for want of memory say, costs itself and not the worker.
bool CLocalMCUManager::TryTurn() {
    try {
        return RunTurn();
    } catch (const std::exception& error) {
        AppLog().debug("CLocalMCUManager::ThreadProcMain. A turn failed: %s", error.what());
    } catch (...) {
        AppLog().debug("CLocalMCUManager::ThreadProcMain. A turn failed");
    }
    return false;
}
