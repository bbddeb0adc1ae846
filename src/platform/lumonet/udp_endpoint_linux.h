// The UDP endpoint on Linux: one receive thread, sends in batches.
#pragma once

#include "platform/lumonet/asked_addresses.h"
#include "platform/lumonet/udp_batches.h"
#include "platform/lumonet/udp_delivery.h"
#include "platform/lumonet/udp_receiver_linux.h"
#include "platform/lumonet/udp_sender_linux.h"
#include "platform/lumonet/udp_socket.h"

#include <atomic>
#include <memory>
#include <thread>

class CUdpEndpointLinux final : public IUdpClient {
public:
    /// Throws when there is no memory.
    CUdpEndpointLinux(IUdpClientNotify* notify, CUdpSocket socket, const UdpFeatures& features, bool answerFromAsked);
    /// Throws when the thread cannot be had. Once it has returned, ReleaseConnections ends the object.
    void Start();
    ~CUdpEndpointLinux() = default;

    void ReleaseConnections() override;
    void SendData(const char* data, int length, unsigned long ip, unsigned short port) override;
    void BeginBatch() override { m_batches.Begin(); }
    void EndBatch() override;
    unsigned short GetLocalPort() override { return m_socket.port; }
    void FlushBatch() override;

private:
    void ReceiveMain();
    void DeliverBurst(size_t runs);
    void Flush(CUdpArena& arena);
    void SendNow(const char* data, uint32_t length, uint32_t ip, uint16_t port, uint32_t sourceIP);

    CUdpSocket m_socket;
    CUdpDelivery m_delivery;
    CUdpBatchOwner m_batches;
    CUdpSenderLinux m_sender;
    CUdpReceiverLinux m_receiver;              // the receive thread's
    std::unique_ptr<CAskedAddresses> m_asked;  // null: the kernel chooses the address that answers leave from
    std::atomic<bool> m_bStop{false};
    std::thread m_thread;
    bool m_bEndsItself = false;  // the receive thread's: released from inside a callback, so that thread deletes
};
