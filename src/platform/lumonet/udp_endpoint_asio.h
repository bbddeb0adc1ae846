// The portable UDP endpoint: one thread, one datagram a call. Answers leave from the address that the system chooses.
#pragma once

#include "platform/lumobase/crit_sec.h"
#include "platform/lumonet/udp_delivery.h"
#include "platform/lumonet/udp_socket.h"

#include <asio/io_context.hpp>
#include <asio/ip/udp.hpp>
#include <memory>
#include <system_error>
#include <thread>

class CUdpEndpointAsio final : public IUdpClient {
public:
    /// Throws when there is no memory.
    CUdpEndpointAsio(IUdpClientNotify* notify, CUdpSocket socket);
    /// Throws when the thread cannot be had. Once it has returned, ReleaseConnections ends the object.
    void Start();
    ~CUdpEndpointAsio() = default;

    void ReleaseConnections() override;
    void SendData(const char* data, int length, unsigned long ip, unsigned short port) override;
    // A datagram leaves at once, which keeps the order that a batch promises.
    void BeginBatch() override {}
    void EndBatch() override {}
    unsigned short GetLocalPort() override { return m_nPort; }
    void FlushBatch() override {}

private:
    void ReceiveMain();
    void Wait();
    void TakeBurst();
    size_t TakeDatagram(asio::error_code& error);

    const uint16_t m_nPort;
    const CPortTwin m_twin;
    CUdpDelivery m_delivery;
    asio::io_context m_io{1};
    // Two handles of one socket: an Asio object may not be used by two threads at a time.
    asio::ip::udp::socket m_in;  // the receive thread's
    CCritSec m_csOut;            // held for a send, which does not wait
    asio::ip::udp::socket m_out LUMO_GUARDED_BY(m_csOut);
    const std::unique_ptr<char[]> m_buffer;
    asio::ip::udp::endpoint m_from;
    std::thread m_thread;
    bool m_bEndsItself = false;  // the receive thread's: released from inside a callback, so that thread deletes
};
