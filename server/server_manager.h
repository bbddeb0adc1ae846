// The local MCU as a relay server: given endpoints, a source side, and limits.
#pragma once

#include "link/process/server_hooks.h"
#include "mcu/local_mcu_manager.h"
#include "server/address_rates.h"
#include "server/media/medium_server.h"
#include "server/requests.h"
#include "server/signalling/signalling.h"

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <vector>

/// Made with new, ended by ReleaseConnections. Connect() opens it; the port given there appears in the library's log.
class CServerManager : public CLocalMCUManager, public IServerHooks, public ITcpAcceptFilter, public IStatusSource {
public:
    CServerManager(const CServerOptions& options, CServerLog& log);
    ~CServerManager() override;

    /// Takes nothing new, lets TCP queues drain for a while, and ends every channel. Before ReleaseConnections.
    void Drain();
    void ReleaseConnections() override;
    /// From now on with what may change of these options. False when they have changed too often.
    bool Change(const CServerOptions& next);

    std::vector<CMediumStatus> Media() override;
    CServerStatus Status() override;
    CSignallingStatus Signalling() override { return m_signalling.Status(); }
    std::vector<CBudgetStatus> Budgets() override;
    std::vector<CRefusalStatus> Refusals() override { return m_context.log.Refusals(); }
    CHealth Health() override;
    uint64_t DroppedRequests() override { return m_requests.Dropped(); }
    uint64_t DatagramsOverRate() override { return m_rates.Dropped(); }

    void OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip, unsigned short port) override;
    void OnUdpClientNotifyBurstEnd() override;
    unsigned OnUdpClientNotifyMayRest() override { return m_requests.Rest(); }
    /// Whether the address may talk to the server at all; counts and logs those that may not.
    bool Allows(uint32_t ip);
    bool MayAccept(unsigned long ip, unsigned unvalidated) override;

    void OnCommand(const CServerDatagram& datagram) override;
    bool AdmitCommand(const CServerDatagram& datagram) override;
    bool OnTcpValidate(ITcpSession* session, uint32_t type, const char* data, int length) override;
    bool AdmitTcp(ITcpSession* session, uint32_t type, const char* data, int length) override;
    void OnSinkMade(const CSinkInfo& sink) override;
    void OnSinkChanged(const CSinkInfo& sink) override;
    void OnSinkGone(const CSinkInfo& sink) override;
    void OnKeyFrameWanted(wire::Kind kind, ChannelKey key) override;
    uint64_t SinkQueueLimit() const override { return m_context.live.Limits().sinkQueueBytes; }

protected:
    bool OpenEndpoints(unsigned long port) override;
    void OnSecond() override;
    bool OnTurn() override;
    bool MaySend(uint32_t ip, int length) override { return m_rates.Admits(ip, length); }
    void OnOtherDatagram(wire::Kind kind, const char* body, int length, uint32_t ip, uint16_t port) override;

private:
    bool IsFull();
    void AddMedium(wire::Kind kind, std::unique_ptr<CMediumServer> medium);
    CMediumServer* MediumOf(wire::Kind kind) const { return m_byKind[static_cast<size_t>(kind)]; }
    CMediumServer* MediumOfTcp(uint32_t type) const;
    size_t Draining();

    CServerContext m_context;
    CSignalling m_signalling;
    CRequests m_requests;
    CAddressRates m_rates;
    std::vector<std::unique_ptr<CMediumServer>> m_media;
    std::array<CMediumServer*, wire::kKindCount> m_byKind{};
    std::atomic<bool> m_bStopping{false};
    const std::chrono::steady_clock::time_point m_started =
        std::chrono::steady_clock::now();  // more than 32 bits of ms
    uint32_t m_ulPolicyRefreshed;          // worker
    std::atomic<uint32_t> m_ulTurned;      // the worker's last second
};
