#include "server/server_manager.h"

#include "link/activity.h"
#include "link/process/instances.h"
#include "link/process/mcu_services.h"
#include "platform/lumobase/memory_budget.h"
#include "platform/lumobase/undo.h"
#include "server/media/make_servers.h"
#include "server/signalling/reflector.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

namespace {
constexpr uint32_t kRefreshPolicyMs = 10000;
constexpr uint32_t kWorkerStallsMs = 10000;  // its second comes late on a busy machine, but not that late
constexpr size_t kShownChannels = 200;
constexpr size_t kShownListeners = 100;

bool IsSignalling(uint32_t type) { return type == static_cast<uint32_t>(wire::TcpType::Signalling); }
}  // namespace

CServerManager::CServerManager(const CServerOptions& options, CServerLog& log)
    : m_context(options, log),
      m_signalling(m_context.live, m_context.connectionQuotas, log),
      m_requests(options.Trusted()),
      m_rates(options.limits.ratePerAddress, options.Trusted()),
      m_ulPolicyRefreshed(CActivity::Now()),
      m_ulTurned(m_ulPolicyRefreshed) {
    budgets::SetLimit(options.limits.memoryBytes);
    budgets::SetExempt([trusted = options.Trusted()](uint32_t ip) { return Contains(trusted, ip); });
    m_context.policy.Refresh();
    m_context.port = options.port;
    AddMedium(wire::Kind::File, MakeFileServer(m_context));
    AddMedium(wire::Kind::Audio, MakeAudioServer(m_context));
    AddMedium(wire::Kind::Video, MakeVideoServer(m_context));
    AddMedium(wire::Kind::Desktop, MakeDesktopServer(m_context));
    AddMedium(wire::Kind::Whiteboard, MakeWhiteboardServer(m_context));
    Instances().pServer.store(this, std::memory_order_release);
}

void CServerManager::AddMedium(wire::Kind kind, std::unique_ptr<CMediumServer> medium) {
    m_byKind[static_cast<size_t>(kind)] = medium.get();
    m_media.push_back(std::move(medium));
}

CServerManager::~CServerManager() {
    budgets::SetLimit(0);
    budgets::SetExempt({});
    Instances().pServer.store(nullptr, std::memory_order_release);
}

bool CServerManager::OpenEndpoints(unsigned long) {
    const uint32_t ip = m_context.live.Now().listenIP;
    if (!m_pUdpClient) m_pUdpClient = CreateUdpClientAt(this, {ip, m_context.live.Now().port, ip == 0});
    if (!m_pUdpClient) return false;
    {
        CAutoLock gate(&m_context.gate);
        m_context.port = GetLocalPort();
    }
    if (!m_pTcpServer) m_pTcpServer = CreateTcpServerAt(this, {ip, GetLocalPort(), this});
    return m_pTcpServer != nullptr;
}

bool CServerManager::Change(const CServerOptions& next) {
    if (!m_context.live.Take(m_context.live.Now().Changed(next))) return false;
    const CServerLimits& limits = m_context.live.Limits();
    budgets::SetLimit(limits.memoryBytes);
    m_rates.SetRate(limits.ratePerAddress);
    m_context.channelQuotas.SetLimit(limits.channelsPerAddress, m_context.trusted);
    for (const auto& medium : m_media) medium->OnOptions();
    m_signalling.CloseForeign();
    return true;
}

bool CServerManager::Allows(uint32_t ip) {
    if (m_context.live.Now().Allows(ip)) return true;
    m_context.log.Refused(ip, Refusal::NotAllowed);
    return false;
}

void CServerManager::OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip,
                                                    unsigned short port) {
    const CEndpointAddress address{static_cast<uint32_t>(ip), port};
    if (!Allows(address.ip) || m_requests.Add(data, length, address)) return;
    CLocalMCUManager::OnUdpClientNotifyReceivedFrame(data, length, ip, port);
}

void CServerManager::OnUdpClientNotifyBurstEnd() {
    const CUndo end([this] { CLocalMCUManager::OnUdpClientNotifyBurstEnd(); });  // in any case
    m_requests.OnBurstEnd([this](const char* data, int length, const CEndpointAddress& address) {
        CLocalMCUManager::OnUdpClientNotifyReceivedFrame(data, length, address.ip, address.port);
    });
}

void CServerManager::OnOtherDatagram(wire::Kind kind, const char*, int length, uint32_t ip, uint16_t port) {
    if (kind == wire::Kind::Stun && IsReflectorRequest(length)) SendDatagram(ReflectorAnswer(ip, port), ip, port);
}

bool CServerManager::MayAccept(unsigned long ip, unsigned unvalidated) {
    return !m_bStopping && Allows(static_cast<uint32_t>(ip)) &&
           unvalidated < m_context.live.Limits().unvalidatedTcpPerAddress;
}

void CServerManager::OnCommand(const CServerDatagram& datagram) {
    CMediumServer* medium = MediumOf(datagram.row.kind);
    if (medium && !m_bStopping) medium->OnCommand(datagram);
}

bool CServerManager::AdmitCommand(const CServerDatagram& datagram) {
    CMediumServer* medium = MediumOf(datagram.row.kind);
    return medium && !m_bStopping && medium->AdmitCommand(datagram);
}

CMediumServer* CServerManager::MediumOfTcp(uint32_t type) const {
    const auto takes = [type](const std::unique_ptr<CMediumServer>& medium) { return medium->TakesTcp(type); };
    const auto found = std::find_if(m_media.begin(), m_media.end(), takes);
    return found == m_media.end() || m_bStopping ? nullptr : found->get();
}

bool CServerManager::OnTcpValidate(ITcpSession* session, uint32_t type, const char* data, int length) {
    if (IsSignalling(type)) return !m_bStopping && m_signalling.OnTcp(session, data, length);
    CMediumServer* medium = MediumOfTcp(type);
    return medium && medium->OnTcpValidate(session, type, data, length);
}

bool CServerManager::AdmitTcp(ITcpSession* session, uint32_t type, const char* data, int length) {
    const auto ip = static_cast<uint32_t>(session->GetRemoteIP());
    if (m_context.connectionQuotas.IsFull(ip)) {
        m_context.log.Refused(ip, Refusal::ConnectionsOfAddress);
        return false;
    }
    if (IsSignalling(type)) return !m_bStopping;
    CMediumServer* medium = MediumOfTcp(type);
    return medium && medium->AdmitTcp(session, type, data, length);
}

void CServerManager::OnSinkMade(const CSinkInfo& sink) {
    if (CMediumServer* medium = MediumOf(sink.kind)) medium->OnSinkMade(sink);
}

void CServerManager::OnSinkChanged(const CSinkInfo& sink) {
    if (CMediumServer* medium = MediumOf(sink.kind)) medium->OnSinkChanged(sink);
}

void CServerManager::OnSinkGone(const CSinkInfo& sink) {
    if (CMediumServer* medium = MediumOf(sink.kind)) medium->OnSinkGone(sink);
}

void CServerManager::OnKeyFrameWanted(wire::Kind kind, ChannelKey key) {
    if (CMediumServer* medium = MediumOf(kind)) medium->OnKeyFrameWanted(key);
}

void CServerManager::OnSecond() {
    budgets::ReturnFreedMemory();
    const uint32_t now = CActivity::Now();
    m_ulTurned.store(now, std::memory_order_relaxed);
    if (ElapsedMs(now, m_ulPolicyRefreshed) > kRefreshPolicyMs) {
        m_context.policy.Refresh();
        m_ulPolicyRefreshed = now;
    }
    if (m_bStopping) return;
    for (const auto& medium : m_media) medium->OnSecond(now);
    m_signalling.OnSecond();
    m_rates.OnSecond();
    m_context.log.OnSecond();
}

bool CServerManager::OnTurn() {
    bool sent = false;
    for (const auto& medium : m_media) sent = medium->OnTurn() || sent;
    return sent;
}

size_t CServerManager::Draining() {
    size_t count = m_signalling.CountOpen();
    for (const auto& medium : m_media) count += medium->Draining();
    return count;
}

void CServerManager::Drain() {
    using Clock = std::chrono::steady_clock;
    if (m_bStopping.exchange(true)) return;
    for (const auto& medium : m_media) medium->BeginDrain();
    m_signalling.CloseAll();
    const auto end = Clock::now() + std::chrono::milliseconds(server::kDrainMs);
    while (Draining() > 0 && Clock::now() < end) std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

void CServerManager::ReleaseConnections() {
    m_bStopping = true;
    for (const auto& medium : m_media) medium->End();
    m_signalling.End();
    CLocalMCUManager::ReleaseConnections();
}

std::vector<CMediumStatus> CServerManager::Media() {
    std::vector<CMediumStatus> media;
    for (const auto& medium : m_media) media.push_back(medium->Status());
    return media;
}

std::vector<CBudgetStatus> CServerManager::Budgets() {
    const auto status = [](const char* name, const CMemoryBudget& budget) {
        return CBudgetStatus{name, budget.Sum(), budget.Limit(), budget.GivenWay()};
    };
    return {status("send", SendBudget()), status("receive", ReceiveBudget())};
}

// A newcomer may come to any medium, so one that is full is enough.
bool CServerManager::IsFull() {
    const CServerLimits& limits = m_context.live.Limits();
    const auto full = [&](const auto& medium) { return medium->IsFull(limits); };
    return std::any_of(m_media.begin(), m_media.end(), full);
}

CHealth CServerManager::Health() {
    const uint32_t silent = ElapsedMs(CActivity::Now(), m_ulTurned.load(std::memory_order_relaxed));
    if (m_bStopping) return {true, false, "it is ending"};
    if (silent > kWorkerStallsMs)
        return {false, false, "its worker has not turned for " + std::to_string(silent / 1000) + " s"};
    return IsFull() ? CHealth{true, false, "a medium has all the channels or subscribers that it may have"} : CHealth{};
}

CServerStatus CServerManager::Status() {
    CServerStatus status;
    const auto up = std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - m_started);
    status.uptimeSeconds = static_cast<uint32_t>(up.count());
    status.listenIP = m_context.live.Now().listenIP;
    status.port = GetLocalPort();
    status.media = Media();
    status.signalling = Signalling();
    status.budgets = Budgets();
    status.refusals = Refusals();
    status.health = Health();
    std::vector<std::pair<uint32_t, std::shared_ptr<CServerChannel>>> channels;  // rates move while they are sorted
    for (const auto& medium : m_media)
        for (const auto& channel : medium->Channels()) channels.emplace_back(channel->BytesPerSecond(), channel);
    status.channelCount = channels.size();
    const auto shown = channels.begin() + static_cast<std::ptrdiff_t>(std::min(channels.size(), kShownChannels));
    std::partial_sort(channels.begin(), shown, channels.end(),
                      [](const auto& a, const auto& b) { return a.first > b.first; });
    std::for_each(channels.begin(), shown,
                  [&](const auto& entry) { status.channels.push_back(entry.second->Status(kShownListeners)); });
    return status;
}
