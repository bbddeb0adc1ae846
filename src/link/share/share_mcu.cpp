#include "link/share/share_mcu.h"

#include "link/process/mcu_services.h"

using wire::CWireReader;

CShareMcu::CShareMcu(const CMediumRow& medium, const CShareSinkMakers& makers)
    : m_medium(medium), m_makers(makers), m_rows{{medium.sink.connect, &CShareMcu::OnSinkConnect},
                                                 {medium.sink.connectAck, &CShareMcu::OnSinkConnectAck},
                                                 {medium.sink.keepAlive, &CShareMcu::OnSinkKeepAlive},
                                                 {medium.sink.keepAliveAck, &CShareMcu::OnSinkKeepAliveAck},
                                                 {medium.sink.frame, &CShareMcu::OnSinkFrame},
                                                 {medium.sink.frameAck, &CShareMcu::OnSinkFrameAck},
                                                 {medium.sink.disconnect, &CShareMcu::OnSinkDisconnect},
                                                 {medium.source.connectAck, &CShareMcu::OnSourceConnectAck},
                                                 {medium.source.frameAck, &CShareMcu::OnSourceFrameAck},
                                                 {medium.source.keepAlive, &CShareMcu::OnSourceKeepAlive}} {}

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

void CShareMcu::Dispatch(const char* data, int length, unsigned long ip, unsigned short port, CBefore before) {
    DispatchDatagram(*this, m_rows, m_medium.kind, data, length, static_cast<uint32_t>(ip), port, before);
}

void CShareMcu::OnSinkConnect(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    const uint32_t receiverID = fields.U32();
    ConnectSink(receiverID, fields.U32(), datagram.ip, datagram.port);
}

template <class Use>
void CShareMcu::WithSink(const CServerDatagram& datagram, Use use) {
    CWireReader fields = Fields(datagram);
    m_tables.sinks.With(fields.U32(), [&](CShareSink& sink) {
        if (IShareSinkUDP* udp = sink.AsUDP()) use(*udp, fields);
    });
}

template <class Use>
void CShareMcu::WithReceiver(const CServerDatagram& datagram, Use use) {
    CWireReader fields = Fields(datagram);
    m_tables.receivers.With(fields.U32(), [&](CShareReceiver& receiver) {
        if (IShareReceiverUDP* udp = receiver.AsUDP()) use(*udp, fields);
    });
}

template <class Use>
void CShareMcu::WithSender(const CServerDatagram& datagram, Use use) {
    CWireReader fields = Fields(datagram);
    m_tables.senders.With(fields.U32(), [&](IShareSenderUDP& sender) { use(sender, fields); });
}

void CShareMcu::OnSinkConnectAck(const CServerDatagram& datagram) {
    WithReceiver(datagram, [&](IShareReceiverUDP& receiver, CWireReader& fields) {
        receiver.OnReceivedConnectACK(fields.U32(), datagram.ip, datagram.port);
    });
}

void CShareMcu::OnSinkKeepAlive(const CServerDatagram& datagram) {
    WithSink(datagram, [](IShareSinkUDP& sink, CWireReader&) { sink.OnReceivedKeepAlive(); });
}

void CShareMcu::OnSinkKeepAliveAck(const CServerDatagram& datagram) {
    WithReceiver(datagram, [&](IShareReceiverUDP& receiver, CWireReader& fields) {
        receiver.OnReceivedKeepAliveACK(fields.U32(), datagram.ip, datagram.port);
    });
}

void CShareMcu::OnSinkFrame(const CServerDatagram& datagram) {
    WithReceiver(datagram, [&](IShareReceiverUDP& receiver, CWireReader& fields) {
        const uint32_t sinkID = fields.U32();
        receiver.OnReceivedFrame(sinkID, fields.Rest(), fields.Left(), datagram.ip, datagram.port);
    });
}

void CShareMcu::OnSinkFrameAck(const CServerDatagram& datagram) {
    WithSink(datagram,
             [](IShareSinkUDP& sink, CWireReader& fields) { sink.OnReceivedFrameAck(fields.Rest(), fields.Left()); });
}

void CShareMcu::OnSinkDisconnect(const CServerDatagram& datagram) {
    const auto isUDP = [](CShareSink& sink) { return sink.AsUDP() != nullptr; };
    m_tables.sinks.EndIf(Fields(datagram).U32(), isUDP, CTables::EndSink);
}

void CShareMcu::OnSourceConnectAck(const CServerDatagram& datagram) {
    WithSender(datagram, [&](IShareSenderUDP& sender, CWireReader& fields) {
        sender.OnReceivedConnectACK(fields.U32(), datagram.ip, datagram.port);
    });
}

void CShareMcu::OnSourceFrameAck(const CServerDatagram& datagram) {
    WithSender(datagram, [](IShareSenderUDP& sender, CWireReader& fields) {
        sender.OnReceivedFrameAck(fields.Rest(), fields.Left());
    });
}

void CShareMcu::OnSourceKeepAlive(const CServerDatagram& datagram) {
    WithSender(datagram, [](IShareSenderUDP& sender, CWireReader&) { sender.OnReceivedKeepAlive(); });
}
