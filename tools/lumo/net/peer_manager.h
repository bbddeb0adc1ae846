// The peer-to-peer manager of this process and the local MCU that it needs.
#pragma once

#include "tools/lumo/net/local_mcu.h"

#include <lumomedia/p2p.h>

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

namespace lumo {

/// An IPv4 address and a port in host byte order.
struct HostPort {
    uint32_t ip = 0;
    uint16_t port = 0;

    bool operator==(const HostPort& other) const { return ip == other.ip && port == other.port; }
    bool operator!=(const HostPort& other) const { return !(*this == other); }
    std::string Text() const;
};

/// This host's address on the way to another one; 0 when there is no way.
uint32_t LanAddressTowards(uint32_t ip);

/// Keeps the order in which the library wants the two made and released, and knows this host's own addresses.
class CPeerManager : private IP2PNotify {
public:
    /// Without peers there is a local MCU only.
    CPeerManager(bool peers, uint32_t userID, bool forwarded);
    virtual ~CPeerManager();
    CPeerManager(const CPeerManager&) = delete;
    CPeerManager& operator=(const CPeerManager&) = delete;

    bool Ok() const { return m_mcu && m_mcu->Ok() && (m_pPeers || !m_bPeers); }
    /// Asks that reflector for this host's public address until it answers; Public() keeps the last answer meanwhile.
    void AskReflector(const HostPort& reflector);
    /// Negotiates with that user anew.
    void Call(uint32_t userID) { m_pPeers->StartP2PCaller(userID); }
    HostPort Lan() const { return {m_ulLanIP, m_mcu ? m_mcu->Port() : uint16_t{0}}; }
    /// What the last answer said; zeros before the first. Any thread.
    HostPort Public() const;
    /// How many answers have come. Any thread.
    uint32_t Answers() const { return m_nAnswers.load(std::memory_order_acquire); }
    uint32_t UserID() const { return m_ulUserID; }

protected:
    void OnP2PNotifySendCmd(unsigned long, CCmdPacket&) override {}
    /// Hands a packet of a peer in.
    void Receive(CCmdPacket& cmd) { m_pPeers->OnReceivedP2PCmd(cmd); }
    /// Releases the local MCU and the manager; a derived class calls it before its own part goes.
    void End();

private:
    void OnP2PNotifyGetP2PItem(P2PItem& item) override;
    unsigned long OnP2PNotifyGetUserID() override { return m_ulUserID; }
    void OnP2PNotifyNATAddress(unsigned long ip, unsigned short port) override;

    const bool m_bPeers;
    const uint32_t m_ulUserID;
    const bool m_bForwarded;
    std::atomic<uint32_t> m_ulLanIP{0};
    std::atomic<uint64_t> m_ullPublic{0};  // address and port
    std::atomic<uint32_t> m_nAnswers{0};
    IP2P* m_pPeers = nullptr;
    std::optional<CLocalMcu> m_mcu;  // made after the manager, ended before it
};

}  // namespace lumo
