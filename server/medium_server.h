// One medium at the server: routes what its clients send to those who deal with it.
#pragma once

#include "server/sinks.h"
#include "server/sources.h"

/// The hooks of one kind, under the same terms.
class CMediumServer {
public:
    CMediumServer(const CMediumRow& row, std::unique_ptr<IMediumClasses> classes, CServerContext& context);

    bool TakesTcp(uint32_t type) const;
    void OnCommand(const CServerDatagram& datagram);
    bool MayAct(const CServerDatagram& datagram);
    bool MayServeTcp(ITcpSession* session, uint32_t type, const char* data, int length);
    bool OnTcpValidate(ITcpSession* session, uint32_t type, const char* data, int length);
    void OnSinkMade(const CSinkInfo& sink) { m_sinks.OnSinkMade(sink); }
    void OnSinkChanged(const CSinkInfo& sink) { m_sinks.OnSinkChanged(sink); }
    void OnKeyFrameWanted(ChannelKey channel) { m_medium.keyFrames.Want(channel); }
    void OnSinkGone(const CSinkInfo& sink) { m_sinks.OnSinkGone(sink); }

    void OnSecond(uint32_t now);
    bool OnTurn();

    /// TCP queues begin to drain and everything else ends; how many connections are still at it.
    void BeginDrain();
    size_t Draining() { return m_medium.classes.CountTcpSinks() + m_sources.CountOpen(); }
    /// Ends everything. The media are released after this.
    void End();

    CMediumStatus Status();
    std::vector<std::shared_ptr<CStream>> Streams() { return m_medium.streams.All(); }

private:
    void OnLongConnect(const CServerDatagram& datagram);
    bool OnTcpReceiver(ITcpSession* session, const char* data, int length);
    struct CAsked;
    /// Of a channel that nobody has published here yet.
    void KeepUnserved(const CAsked& asked);
    /// Where nobody publishes: the stream, made if need be, for one whose address is `proved`. Null at a limit.
    std::shared_ptr<CStream> FindOrMakeBoard(uint32_t channelID, uint32_t ip, bool proved);
    /// `letIn`, which the board learns: without it, a board that was made for the asker goes.
    bool Joins(CStream& board, bool letIn);
    CAsked Read(const char* data, int length, const CPeer& peer, bool tcp) const;
    /// This server's own channel of the number, made where nobody publishes it; null when there is none.
    std::shared_ptr<CStream> FindOwn(const CSinkRequest& request, bool proved);
    /// Whether there is room for a relay more, or one to that home already.
    bool HasRoomForRelay(const CAsked& asked);

    std::unique_ptr<IMediumClasses> m_classes;
    CMedium m_medium;
    const wire::CommandRow& m_longConnect;
    CSinks m_sinks;
    CRelays m_relays;
    CSources m_sources;
};
