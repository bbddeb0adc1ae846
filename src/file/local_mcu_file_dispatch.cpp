// What each file datagram does. Objects named by a datagram are used under the lock of their table.
#include "core/wire/datagram.h"
#include "file/file_receiver_udp.h"
#include "file/file_sender_udp.h"
#include "file/file_sink_udp.h"
#include "file/local_mcu_file.h"
#include "link/mcu_services.h"
#include "platform/lumobase/app_log.h"

using wire::CWireReader;

namespace {

CWireReader Fields(const CServerDatagram& datagram) { return {datagram.body + 1, datagram.length - 1}; }

}  // namespace

/// Which function acts on which command. A local MCU ignores what has none: the commands addressed to servers.
struct CFileDispatch {
    using Handler = void (CLocalMCUFile::*)(const CServerDatagram&);

    static Handler Find(const wire::CommandRow& row) {
        if (row.longForm) return nullptr;
        switch (row.code) {
            case wire::UDP_FILE_SINK_CONNECT:
                return &CLocalMCUFile::OnSinkConnect;
            case wire::UDP_FILE_SINK_CONNECT_ACK:
                return &CLocalMCUFile::OnSinkConnectAck;
            case wire::UDP_FILE_SINK_KEEP_ALIVE:
                return &CLocalMCUFile::OnSinkKeepAlive;
            case wire::UDP_FILE_SINK_KEEP_ALIVE_ACK:
                return &CLocalMCUFile::OnSinkKeepAliveAck;
            case wire::UDP_FILE_SINK_FRAME:
                return &CLocalMCUFile::OnSinkFrame;
            case wire::UDP_FILE_SINK_FRAME_ACK:
                return &CLocalMCUFile::OnSinkFrameAck;
            case wire::UDP_FILE_SINK_DISCONNECT:
                return &CLocalMCUFile::OnSinkDisconnect;
            case wire::UDP_FILE_SOURCE_CONNECT_ACK:
                return &CLocalMCUFile::OnSourceConnectAck;
            case wire::UDP_FILE_SOURCE_FRAME_ACK:
                return &CLocalMCUFile::OnSourceFrameAck;
            case wire::UDP_FILE_SOURCE_KEEP_ALIVE:
                return &CLocalMCUFile::OnSourceKeepAlive;
            default:
                return nullptr;
        }
    }
    /// Commands of subscribers, which a relay server may want to refuse.
    static bool IsForSinks(const wire::CommandRow& row) {
        return row.code == wire::UDP_FILE_SINK_CONNECT || row.code == wire::UDP_FILE_SINK_KEEP_ALIVE ||
               row.code == wire::UDP_FILE_SINK_FRAME_ACK || row.code == wire::UDP_FILE_SINK_DISCONNECT;
    }
};

void CLocalMCUFile::OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip,
                                                   unsigned short port) {
    LUMO_LOG_LINE("CLocalMCUFile::OnUdpClientNotifyReceivedFrame");
    if (!data || length < 2) return;
    const wire::CommandRow* row = wire::FindCommand(wire::Kind::File, reinterpret_cast<const uint8_t*>(data), length);
    if (!row) return;
    const CServerDatagram datagram{*row, data, length, static_cast<uint32_t>(ip), port};
    IServerHooks* hooks = GetServerHooks();
    const CFileDispatch::Handler handler = CFileDispatch::Find(*row);
    if (!handler) {
        if (hooks) hooks->OnCommand(datagram);
        return;
    }
    if (hooks && CFileDispatch::IsForSinks(*row) && !hooks->MayAct(datagram)) return;
    LUMO_LOG_LINE("%s", row->name);
    (this->*handler)(datagram);
}

void CLocalMCUFile::OnSinkConnect(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    const uint32_t receiverID = fields.U32();
    ConnectFileSink(receiverID, fields.U32(), datagram.ip, datagram.port);
}

void CLocalMCUFile::OnSinkConnectAck(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    m_mapFileReceiver.With(fields.U32(), [&](CFileReceiver& receiver) {
        if (auto* udp = receiver.AsDatagramReceiver())
            udp->OnReceivedConnectACK(fields.U32(), datagram.ip, datagram.port);
    });
}

void CLocalMCUFile::OnSinkKeepAlive(const CServerDatagram& datagram) {
    m_mapFileSink.With(Fields(datagram).U32(), [](CFileSink& sink) {
        if (CFileSinkUDP* udp = sink.AsUDP()) udp->OnReceivedKeepAlive();
    });
}

void CLocalMCUFile::OnSinkKeepAliveAck(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    m_mapFileReceiver.With(fields.U32(), [&](CFileReceiver& receiver) {
        if (auto* udp = receiver.AsDatagramReceiver())
            udp->OnReceivedKeepAliveACK(fields.U32(), datagram.ip, datagram.port);
    });
}

void CLocalMCUFile::OnSinkFrame(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    m_mapFileReceiver.With(fields.U32(), [&](CFileReceiver& receiver) {
        auto* udp = receiver.AsDatagramReceiver();
        const uint32_t sinkID = fields.U32();
        if (udp) udp->OnReceivedFrame(sinkID, fields.Rest(), fields.Left(), datagram.ip, datagram.port);
    });
}

void CLocalMCUFile::OnSinkFrameAck(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    m_mapFileSink.With(fields.U32(), [&](CFileSink& sink) {
        if (CFileSinkUDP* udp = sink.AsUDP()) udp->OnReceivedFrameAck(fields.Rest(), fields.Left());
    });
}

void CLocalMCUFile::OnSinkDisconnect(const CServerDatagram& datagram) {
    const auto isUDP = [](CFileSink& sink) { return sink.AsUDP() != nullptr; };
    m_mapFileSink.EndIf(Fields(datagram).U32(), isUDP, EndSink);
}

void CLocalMCUFile::OnSourceConnectAck(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    m_mapFileSender.With(fields.U32(), [&](CFileSenderUDP& sender) {
        sender.OnReceivedConnectACK(fields.U32(), datagram.ip, datagram.port);
    });
}

void CLocalMCUFile::OnSourceFrameAck(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    m_mapFileSender.With(fields.U32(),
                         [&](CFileSenderUDP& sender) { sender.OnReceivedFrameAck(fields.Rest(), fields.Left()); });
}

void CLocalMCUFile::OnSourceKeepAlive(const CServerDatagram& datagram) {
    m_mapFileSender.With(Fields(datagram).U32(), [](CFileSenderUDP& sender) { sender.OnReceivedKeepAlive(); });
}
