#include "p2p/signal_client.h"

#include "link/callback.h"
#include "p2p/signal_frames.h"
#include "platform/lumobase/app_log.h"

#include <string>

namespace {
constexpr uint8_t kKeepAliveEvery = 12;  // idle polls
}

CSignalClient::CSignalClient(ISignalNotify& notify, uint32_t userID)
    : m_pNotify(&notify), m_ulUserID(userID), m_link(wire::Kind::P2P, kKeepAliveEvery) {}

void CSignalClient::ReleaseConnections() {
    if (RefusesRelease("The signalling client of user", m_ulUserID)) return;
    m_link.Release();
    delete this;
}

bool CSignalClient::SendCmd(unsigned long ulUserID, const CCmdPacket& cmd) {
    try {
        return Send(static_cast<uint32_t>(ulUserID), cmd);
    } catch (...) {
        AppLog().debug("CSignalClient::SendCmd. A packet could not be made");
        return false;
    }
}

bool CSignalClient::Send(uint32_t userID, const CCmdPacket& cmd) {
    if (!m_bTaken) return false;
    const std::string packet = cmd.Serialize();
    if (packet.empty() || m_link.QueuedBytes() > signalling::kMaxQueueBytes) return false;
    const std::string frame = signalling::Frame(userID, packet.data(), static_cast<int>(packet.size()));
    if (!m_link.SendFrame(frame.data(), static_cast<int>(frame.size()))) return false;
    m_link.RestartKeepAlive();
    return true;
}

void CSignalClient::OnTcpClientNotifyConnected() {
    m_bReached = true;
    m_link.Settle();
    m_link.SendValidation(ValidationMessage(wire::TcpType::Signalling, wire::CWireWriter().U32(m_ulUserID)));
}

bool CSignalClient::OnTcpClientNotifyValidate(unsigned long type, const char* data, int length) {
    m_link.Settle();
    uint32_t userID = 0;
    if (type != static_cast<uint32_t>(wire::TcpType::Signalling)) return false;
    if (!ReadChannelAnswer(data, length, userID) || userID != m_ulUserID) return false;
    m_bEverTaken = m_bTaken = true;
    CallApplication([&] { m_pNotify->OnSignalNotifyConnected(userID); });
    return true;
}

bool CSignalClient::OnTcpClientNotifyReceivedFrame(const char* data, int length) {
    if (length > signalling::kMaxFrame) return false;
    if (!data || length < signalling::kUserIDLength) return true;
    wire::CWireReader frame(data, length);
    const uint32_t from = frame.U32();
    CallApplication([&] {
        CCmdPacket cmd;
        if (!CCmdPacket::Parse(std::string(frame.Rest(), static_cast<size_t>(frame.Left())), cmd)) return;
        cmd.SetFromUID(from);
        m_pNotify->OnSignalNotifyCmd(cmd);
    });
    return true;
}
