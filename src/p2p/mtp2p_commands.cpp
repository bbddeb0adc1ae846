// The command packets of the peer-to-peer manager: what each does, and what it is answered with.
#include "link/callback.h"
#include "p2p/mtp2p.h"
#include "p2p/p2p_packets.h"
#include "platform/lumobase/app_log.h"
#include "platform/lumonet/lumonet.h"

namespace {

/// Runs an operation that the application called; memory that is short ends it early and quietly.
template <class Operation>
void Quietly(Operation operation) {
    try {
        operation();
    } catch (...) {
        AppLog().debug("CMTP2P. A command failed");
    }
}

std::string Address(unsigned long ip) { return GetIpAddr(static_cast<uint32_t>(ip)); }

}  // namespace

struct CP2PCommands {
    struct Row {
        const char* type;
        void (CMTP2P::*act)(uint32_t userID, const CCmdPacket& cmd);
    };
    static constexpr Row kRows[] = {{p2p::kStart, &CMTP2P::OnStart}, {p2p::kStartAck, &CMTP2P::OnStartAck},
                                    {p2p::kCmd, &CMTP2P::OnCmd},     {p2p::kCmdAck, &CMTP2P::OnCmdAck},
                                    {p2p::kFetch, &CMTP2P::OnFetch}, {p2p::kFetchAck, &CMTP2P::OnFetchAck}};
};

void CMTP2P::Deliver(uint32_t userID, CCmdPacket& cmd) {
    CallApplication([&] { m_pNotify->OnP2PNotifySendCmd(userID, cmd); });
}

void CMTP2P::Send(uint32_t userID, const char* type) {
    CCmdPacket cmd;
    cmd.PutAttrib(p2p::kType, type);
    Deliver(userID, cmd);
}

P2PItem CMTP2P::SendOwnItem(uint32_t userID, const char* type) {
    P2PItem item;
    GetLocalP2PItem(item);
    CCmdPacket cmd;
    cmd.PutAttrib(p2p::kType, type);
    p2p::PutItem(cmd, item);
    Deliver(userID, cmd);
    return item;
}

void CMTP2P::StartP2PCaller(unsigned long ulUserID) {
    const auto userID = static_cast<uint32_t>(ulUserID);
    Quietly([&] {
        ResetP2P(userID);
        const P2PItem item = SendOwnItem(userID, p2p::kStart);
        SendUdpP2P(userID);
        LUMO_LOG_LINE("StartP2PCaller. UserID : %u. LocalNatIp : %s, LocalNatPort : %u, LocalIp : %s, LocalPort : %u",
                      userID, Address(item.ulNATIP).c_str(), item.usNATUDPPort, Address(item.ulLocalIP).c_str(),
                      item.usLocalUDPPort);
    });
}

void CMTP2P::FetchMTP2PIP(uint32_t userID) {
    Quietly([&] {
        LUMO_LOG_LINE("CMTP2P::FetchMTP2PIP(UserID : %u)", userID);
        if (!GetMTP2PIP(userID)) Send(userID, p2p::kFetch);
    });
}

void CMTP2P::OnReceivedP2PCmd(CCmdPacket& cmd) {
    Quietly([&] {
        const std::string type = cmd.GetAttrib(p2p::kType);
        for (const CP2PCommands::Row& row : CP2PCommands::kRows)
            if (type == row.type) return (this->*row.act)(static_cast<uint32_t>(cmd.GetFromUID()), cmd);
    });
}

void CMTP2P::AddAndPunch(uint32_t userID, const char* type, const CCmdPacket& cmd) {
    const P2PItem item = p2p::GetItem(cmd);
    AddP2P(userID, item);
    SendUdpP2P(userID);
    LUMO_LOG_LINE("%s. UserID : %u, NATIP : %s, NATPort : %d, LocalIP : %s, LocalPort : %d", type, userID,
                  Address(item.ulNATIP).c_str(), item.usNATUDPPort, Address(item.ulLocalIP).c_str(),
                  item.usLocalUDPPort);
}

void CMTP2P::PunchAgain(uint32_t userID, const char* type) {
    LUMO_LOG_LINE("%s. UserID : %u. IsP2PFailed : %d, IsP2PConnected : %d", type, userID, IsP2PFailed(userID),
                  IsP2PConnected(userID));
    SendUdpP2P(userID);
}

void CMTP2P::OnStart(uint32_t userID, const CCmdPacket& cmd) {
    AddAndPunch(userID, p2p::kStart, cmd);
    SendOwnItem(userID, p2p::kStartAck);
}

void CMTP2P::OnStartAck(uint32_t userID, const CCmdPacket& cmd) {
    AddAndPunch(userID, p2p::kStartAck, cmd);
    Send(userID, p2p::kCmd);
}

void CMTP2P::OnCmd(uint32_t userID, const CCmdPacket&) {
    PunchAgain(userID, p2p::kCmd);
    Send(userID, p2p::kCmdAck);
}

void CMTP2P::OnCmdAck(uint32_t userID, const CCmdPacket&) {
    PunchAgain(userID, p2p::kCmdAck);
    const auto peer = GetMTP2PIP(userID);  // without one the two of them would go on for ever
    if (peer && !peer->IsFailed() && !peer->IsConnected()) Send(userID, p2p::kCmd);
}

void CMTP2P::OnFetch(uint32_t userID, const CCmdPacket&) {
    LUMO_LOG_LINE("P2P_FETCH. UserID : %u", userID);
    SendOwnItem(userID, p2p::kFetchAck);
}

void CMTP2P::OnFetchAck(uint32_t userID, const CCmdPacket& cmd) {
    LUMO_LOG_LINE("P2P_FETCH_ACK. UserID : %u", userID);
    AddP2P(userID, p2p::GetItem(cmd));
}
