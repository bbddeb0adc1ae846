// One medium at the server: routes what its clients send to the part that handles it.
#pragma once

#include "link/tables/mcu_dispatch.h"
#include "server/sinks/sinks.h"
#include "server/sources/sources.h"

#include <array>

/// The hooks of one kind, under the same terms.
class CMediumServer {
public:
    CMediumServer(const CMediumRow& row, std::unique_ptr<IMediumAdapter> adapter, CServerContext& context);

    bool TakesTcp(uint32_t type) const;
    void OnCommand(const CServerDatagram& datagram);
    bool AdmitCommand(const CServerDatagram& datagram);
    bool AdmitTcp(ITcpSession* session, uint32_t type, const char* data, int length);
    bool OnTcpValidate(ITcpSession* session, uint32_t type, const char* data, int length);
    void OnSinkMade(const CSinkInfo& sink) { m_sinks.OnSinkMade(sink); }
    void OnSinkChanged(const CSinkInfo& sink) { m_sinks.OnSinkChanged(sink); }
    void OnKeyFrameWanted(ChannelKey key) { m_medium.keyFrames.Want(key); }
    void OnSinkGone(const CSinkInfo& sink) { m_sinks.OnSinkGone(sink); }

    /// The options have changed: follows the limits, and ends whose address is not allowed any more.
    void OnOptions();
    void OnSecond(uint32_t now);
    bool OnTurn();

    /// TCP queues begin to drain and everything else ends; how many connections are still at it.
    void BeginDrain();
    size_t Draining() { return m_medium.adapter.CountTcpSinks() + m_sources.CountOpen(); }
    /// Ends everything. The media are released after this.
    void End();

    CMediumStatus Status();
    /// Whether there is no room for a channel, or none for a subscriber.
    bool IsFull(const CServerLimits& limits) {
        return m_medium.channels.Size() >= limits.channels || m_medium.adapter.SinkCount() >= limits.sinks;
    }
    std::vector<std::shared_ptr<CServerChannel>> Channels() { return m_medium.channels.All(); }

private:
    void OnLongConnect(const CServerDatagram& datagram);
    void OnSourceConnect(const CServerDatagram& datagram);
    void OnSourceSign(const CServerDatagram& datagram) { m_sources.OnSign(datagram); }
    void OnSourceFrame(const CServerDatagram& datagram) { m_sources.OnFrame(datagram); }
    void OnSourceDisconnect(const CServerDatagram& datagram) { m_sources.OnDisconnect(datagram); }
    bool OnTcpReceiver(ITcpSession* session, const char* data, int length);
    struct CAsked;
    /// Adds a pending request for a channel that has not been published here yet.
    void AddPending(const CAsked& asked);
    /// The board, made if need be, and charged to the address once that is `validated`. Null at a limit.
    std::shared_ptr<CServerChannel> FindOrMakeBoard(uint32_t channelID, uint32_t ip, bool validated);
    /// `letIn`, which the board learns: without it, a board that was made for the asker goes.
    bool Joins(CServerChannel& board, bool letIn);
    CAsked Read(const char* data, int length, const CEndpointAddress& address, bool tcp) const;
    /// This server's own channel of the number, made where nobody publishes it; null when there is none.
    std::shared_ptr<CServerChannel> FindOwn(const CSinkRequest& request, bool validated);
    /// Whether there is room for a relay more, or one to that home already.
    bool HasRoomForRelay(const CAsked& asked);

    std::unique_ptr<IMediumAdapter> m_adapter;
    CMedium m_medium;
    const wire::CommandRow& m_longConnect;
    const std::array<CDispatchRow<CMediumServer>, 6> m_rows;  // what only servers are sent
    CSinks m_sinks;
    CRelays m_relays;
    CSources m_sources;
};
