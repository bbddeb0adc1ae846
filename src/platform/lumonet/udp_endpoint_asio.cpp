#include "platform/lumonet/udp_endpoint_asio.h"

#include "platform/lumobase/signals_blocked.h"
#include "platform/lumonet/socket_address.h"
#include "platform/lumonet/udp_counters.h"
#include "platform/lumonet/udp_limits.h"

#include <asio/buffer.hpp>
#include <asio/post.hpp>
#include <cerrno>
#include <chrono>
#include <utility>

CUdpEndpointAsio::CUdpEndpointAsio(IUdpClientNotify* notify, CUdpSocket socket)
    : m_nPort(socket.port),
      m_twin(std::move(socket.twin)),
      m_delivery(notify),
      m_in(m_io),
      m_out(m_io),
      m_buffer(new char[udp::kReceiveBuffer]) {
    CFileDescriptor second = Duplicate(socket.fd.Get());
    if (!second) throw std::system_error(errno, std::generic_category());
    m_in.assign(asio::ip::udp::v4(), socket.fd.Get());
    socket.fd.Take();
    m_out.assign(asio::ip::udp::v4(), second.Get());
    second.Take();
    m_in.non_blocking(true);
    m_out.non_blocking(true);
}

void CUdpEndpointAsio::Start() {
    Wait();
    CSignalsBlocked signals;
    m_thread = std::thread(&CUdpEndpointAsio::ReceiveMain, this);
}

void CUdpEndpointAsio::ReleaseConnections() {
    const bool inside = m_delivery.Release();
    m_io.stop();
    if (inside) {
        m_bEndsItself = true;
        m_thread.detach();
        return;
    }
    m_thread.join();
    delete this;
}

void CUdpEndpointAsio::ReceiveMain() {
    while (!m_io.stopped()) {
        try {
            m_io.run();
        } catch (...) {  // no memory for the next wait: try again in a while
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            asio::post(m_io, [this] { Wait(); });
        }
    }
    if (m_bEndsItself) delete this;
}

void CUdpEndpointAsio::Wait() {
    m_in.async_wait(asio::ip::udp::socket::wait_read, [this](const asio::error_code& error) {
        if (error == asio::error::operation_aborted) return;
        if (error) std::this_thread::sleep_for(std::chrono::milliseconds(10));
        TakeBurst();
        if (!m_io.stopped()) Wait();
    });
}

void CUdpEndpointAsio::TakeBurst() {
    asio::error_code error;
    size_t length = 0;
    // An empty datagram is taken and dropped; nothing to begin a burst for.
    while (length == 0 && !error) length = TakeDatagram(error);
    if (error || !m_delivery.Begin()) return;
    for (size_t taken = 1; !error; ++taken) {
        const uint32_t ip = m_from.address().to_v4().to_uint();
        if (!m_delivery.Run({m_buffer.get(), length, length, ip, m_from.port(), 0})) break;
        if (taken == udp::kReceiveMessages) break;
        length = TakeDatagram(error);
    }
    m_delivery.End();
}

size_t CUdpEndpointAsio::TakeDatagram(asio::error_code& error) {
    return m_in.receive_from(asio::buffer(m_buffer.get(), udp::kReceiveBuffer), m_from, 0, error);
}

void CUdpEndpointAsio::SendData(const char* data, int length, unsigned long ip, unsigned short port) {
    if (!data || length <= 0 || ip == 0 || port == 0) {
        udp::CountRefused(1);
        return;
    }
    const asio::ip::udp::endpoint to(asio::ip::address_v4(static_cast<uint32_t>(ip)), port);
    const auto size = static_cast<size_t>(length);
    asio::error_code error;
    CAutoLock lock(&m_csOut);
    if (m_out.send_to(asio::buffer(data, size), to, 0, error) == size && !error) {
        udp::CountSent(1, size);
    } else {
        udp::CountRefused(1);
    }
}
