#include "link/share/share_mcu.h"

#include "link/process/mcu_services.h"

using wire::CWireReader;

CShareMcu::CShareMcu(const CMediumRow& medium, const CShareSinkMakers& makers)
    : m_medium(medium),
      m_rows{{medium.sink.connect, &CShareMcu::OnSinkConnect},
             {medium.sink.connectAck, &CShareMcu::OnSinkConnectAck},
             {medium.sink.keepAlive, &CShareMcu::OnSinkKeepAlive},
             {medium.sink.keepAliveAck, &CShareMcu::OnSinkKeepAliveAck},
             {medium.sink.frame, &CShareMcu::OnSinkFrame},
             {medium.sink.frameAck, &CShareMcu::OnSinkFrameAck},
             {medium.sink.disconnect, &CShareMcu::OnSinkDisconnect},
             {medium.source.connectAck, &CShareMcu::OnSourceConnectAck},
             {medium.source.frameAck, &CShareMcu::OnSourceFrameAck},
             {medium.source.keepAlive, &CShareMcu::OnSourceKeepAlive}},
      m_makers(makers) {}

void CShareMcu::PutSink(uint32_t sinkID, CShareSink* sink) {
    if (IShareSinkUDP* udp = sink->AsUDP())
        m_tables.sinks.Put(sinkID, sink, sink->Info().channel, udp->GetReceiverID());
    else
        m_tables.sinks.Put(sinkID, sink, sink->Info().channel);
}

bool CShareMcu::ConnectSink(uint32_t receiverID, ChannelKey key, uint32_t ip, uint16_t port) {
    return m_tables.Connect(receiverID, key, ip,
                            [&](CShareChannel& channel) { return m_makers.udp(channel, ip, port, receiverID); });
}

uint32_t CShareMcu::AcceptSink(ITcpSession* session, ChannelKey key) {
    return m_tables.Accept(key, [&](CShareChannel& channel) {
        return AcceptTcpSession(session) ? m_makers.tcp(channel, session) : nullptr;
    });
}

bool CShareMcu::OnTcpServerNotifyValidate(ITcpSession* session, unsigned long type, const char* data, int length) {
    if (type != static_cast<unsigned long>(m_medium.tcp.receiver) || !data || length != 4) return false;
    return AcceptSink(session, CWireReader(data, length).U32()) != 0;
}

void CShareMcu::OnSinkConnect(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    const uint32_t receiverID = fields.U32();
    ConnectSink(receiverID, fields.U32(), datagram.ip, datagram.port);
}

namespace {

/// What datagrams reach of an object of a table: null where there is none, or where it speaks TCP.
template <class TLocked>
auto* UdpOf(const TLocked& object) {
    return object ? object->AsUDP() : nullptr;
}

}  // namespace

void CShareMcu::OnSinkConnectAck(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    const auto receiver = m_tables.receivers.Lock(fields.U32());
    if (auto* udp = UdpOf(receiver)) udp->OnReceivedConnectACK(fields.U32(), datagram.ip, datagram.port);
}

void CShareMcu::OnSinkKeepAlive(const CServerDatagram& datagram) {
    const auto sink = m_tables.sinks.Lock(Fields(datagram).U32());
    if (auto* udp = UdpOf(sink)) udp->OnReceivedKeepAlive();
}

void CShareMcu::OnSinkKeepAliveAck(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    const auto receiver = m_tables.receivers.Lock(fields.U32());
    if (auto* udp = UdpOf(receiver)) udp->OnReceivedKeepAliveACK(fields.U32(), datagram.ip, datagram.port);
}

void CShareMcu::OnSinkFrame(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    const auto receiver = m_tables.receivers.Lock(fields.U32());
    const uint32_t sinkID = fields.U32();
    if (auto* udp = UdpOf(receiver))
        udp->OnReceivedFrame(sinkID, fields.Rest(), fields.Left(), datagram.ip, datagram.port);
}

void CShareMcu::OnSinkFrameAck(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    const auto sink = m_tables.sinks.Lock(fields.U32());
    if (auto* udp = UdpOf(sink)) udp->OnReceivedFrameAck(fields.Rest(), fields.Left());
}

void CShareMcu::OnSinkDisconnect(const CServerDatagram& datagram) {
    const auto isUDP = [](CShareSink& sink) { return sink.AsUDP() != nullptr; };
    m_tables.sinks.EndIf(Fields(datagram).U32(), isUDP, CTables::EndSink);
}

void CShareMcu::OnSourceConnectAck(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    const auto sender = m_tables.senders.Lock(fields.U32());
    if (sender) sender->OnReceivedConnectACK(fields.U32(), datagram.ip, datagram.port);
}

void CShareMcu::OnSourceFrameAck(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    const auto sender = m_tables.senders.Lock(fields.U32());
    if (sender) sender->OnReceivedFrameAck(fields.Rest(), fields.Left());
}

void CShareMcu::OnSourceKeepAlive(const CServerDatagram& datagram) {
    const auto sender = m_tables.senders.Lock(Fields(datagram).U32());
    if (sender) sender->OnReceivedKeepAlive();
}
