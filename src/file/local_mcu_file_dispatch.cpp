// What each file datagram does. Objects named by a datagram are used under the lock of their table.
#include "file/file_receiver_udp.h"
#include "file/file_sender_udp.h"
#include "file/file_sink_udp.h"
#include "file/local_mcu_file.h"
#include "link/mcu_dispatch.h"
#include "platform/lumobase/app_log.h"

using wire::CWireReader;

struct CFileDispatch {
    static constexpr CDispatchRow<CLocalMCUFile> kRows[] = {
        {wire::UDP_FILE_SINK_CONNECT, &CLocalMCUFile::OnSinkConnect},
        {wire::UDP_FILE_SINK_CONNECT_ACK, &CLocalMCUFile::OnSinkConnectAck},
        {wire::UDP_FILE_SINK_KEEP_ALIVE, &CLocalMCUFile::OnSinkKeepAlive},
        {wire::UDP_FILE_SINK_KEEP_ALIVE_ACK, &CLocalMCUFile::OnSinkKeepAliveAck},
        {wire::UDP_FILE_SINK_FRAME, &CLocalMCUFile::OnSinkFrame},
        {wire::UDP_FILE_SINK_FRAME_ACK, &CLocalMCUFile::OnSinkFrameAck},
        {wire::UDP_FILE_SINK_DISCONNECT, &CLocalMCUFile::OnSinkDisconnect},
        {wire::UDP_FILE_SOURCE_CONNECT_ACK, &CLocalMCUFile::OnSourceConnectAck},
        {wire::UDP_FILE_SOURCE_FRAME_ACK, &CLocalMCUFile::OnSourceFrameAck},
        {wire::UDP_FILE_SOURCE_KEEP_ALIVE, &CLocalMCUFile::OnSourceKeepAlive},
    };
};

void CLocalMCUFile::OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip,
                                                   unsigned short port) {
    LUMO_LOG_LINE("CLocalMCUFile::OnUdpClientNotifyReceivedFrame");
    DispatchDatagram(*this, CFileDispatch::kRows, wire::Kind::File, data, length, static_cast<uint32_t>(ip), port,
                     [](const wire::CommandRow& row) { LUMO_LOG_LINE("%s", row.name); });
}

void CLocalMCUFile::OnSinkConnect(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    const uint32_t receiverID = fields.U32();
    ConnectFileSink(receiverID, fields.U32(), datagram.ip, datagram.port);
}

void CLocalMCUFile::OnSinkConnectAck(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    m_tables.receivers.With(fields.U32(), [&](CFileReceiver& receiver) {
        if (auto* udp = receiver.AsDatagramReceiver())
            udp->OnReceivedConnectACK(fields.U32(), datagram.ip, datagram.port);
    });
}

void CLocalMCUFile::OnSinkKeepAlive(const CServerDatagram& datagram) {
    m_tables.sinks.With(Fields(datagram).U32(), [](CFileSink& sink) {
        if (CFileSinkUDP* udp = sink.AsUDP()) udp->OnReceivedKeepAlive();
    });
}

void CLocalMCUFile::OnSinkKeepAliveAck(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    m_tables.receivers.With(fields.U32(), [&](CFileReceiver& receiver) {
        if (auto* udp = receiver.AsDatagramReceiver())
            udp->OnReceivedKeepAliveACK(fields.U32(), datagram.ip, datagram.port);
    });
}

void CLocalMCUFile::OnSinkFrame(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    m_tables.receivers.With(fields.U32(), [&](CFileReceiver& receiver) {
        auto* udp = receiver.AsDatagramReceiver();
        const uint32_t sinkID = fields.U32();
        if (udp) udp->OnReceivedFrame(sinkID, fields.Rest(), fields.Left(), datagram.ip, datagram.port);
    });
}

void CLocalMCUFile::OnSinkFrameAck(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    m_tables.sinks.With(fields.U32(), [&](CFileSink& sink) {
        if (CFileSinkUDP* udp = sink.AsUDP()) udp->OnReceivedFrameAck(fields.Rest(), fields.Left());
    });
}

void CLocalMCUFile::OnSinkDisconnect(const CServerDatagram& datagram) {
    const auto isUDP = [](CFileSink& sink) { return sink.AsUDP() != nullptr; };
    m_tables.sinks.EndIf(Fields(datagram).U32(), isUDP, CTables::EndSink);
}

void CLocalMCUFile::OnSourceConnectAck(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    m_tables.senders.With(fields.U32(), [&](CFileSenderUDP& sender) {
        sender.OnReceivedConnectACK(fields.U32(), datagram.ip, datagram.port);
    });
}

void CLocalMCUFile::OnSourceFrameAck(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    m_tables.senders.With(fields.U32(),
                          [&](CFileSenderUDP& sender) { sender.OnReceivedFrameAck(fields.Rest(), fields.Left()); });
}

void CLocalMCUFile::OnSourceKeepAlive(const CServerDatagram& datagram) {
    m_tables.senders.With(Fields(datagram).U32(), [](CFileSenderUDP& sender) { sender.OnReceivedKeepAlive(); });
}
