#if defined(__linux__)

#include "platform/lumonet/udp_endpoint_linux.h"

#include "platform/lumobase/signals_blocked.h"
#include "platform/lumonet/udp_counters.h"

#include <poll.h>

#include <algorithm>
#include <utility>

CUdpEndpointLinux::CUdpEndpointLinux(IUdpClientNotify* notify, CUdpSocket socket, const UdpFeatures& features,
                                     bool answerFromAsked)
    : m_socket(std::move(socket)),
      m_delivery(notify),
      m_sender(m_socket.fd.Get(), features),
      m_receiver(m_socket.fd.Get(), features, answerFromAsked),
      m_asked(answerFromAsked ? new CAskedAddresses : nullptr) {}

void CUdpEndpointLinux::Start() {
    CSignalsBlocked signals;
    m_thread = std::thread(&CUdpEndpointLinux::ReceiveMain, this);
}

void CUdpEndpointLinux::ReleaseConnections() {
    FlushBatch();
    const bool inside = m_delivery.Release();
    m_bStop.store(true, std::memory_order_release);
    if (inside) {
        m_bEndsItself = true;
        m_thread.detach();
        return;
    }
    // Wakes the receive call, now or when it comes, although it says that nothing is connected.
    ::shutdown(m_socket.fd.Get(), SHUT_RD);
    m_thread.join();
    delete this;
}

void CUdpEndpointLinux::ReceiveMain() {
    while (!m_bStop.load(std::memory_order_acquire)) {
        const size_t runs = m_receiver.Receive();
        if (runs > 0) {
            DeliverBurst(runs);
        } else {
            ::poll(nullptr, 0, 10);  // the kernel lacks memory, perhaps: no spinning meanwhile
        }
    }
    if (m_bEndsItself) delete this;
}

void CUdpEndpointLinux::DeliverBurst(size_t runs) {
    bool empty = true;
    for (size_t i = 0; i < runs && empty; ++i) empty = m_receiver.Run(i).length == 0;
    if (empty || !m_delivery.Begin()) return;
    for (size_t i = 0; i < runs; ++i) {
        const CReceivedRun run = m_receiver.Run(i);
        if (m_asked && run.askedIP != 0) m_asked->Note(run.ip, run.port, run.askedIP);
        if (!m_delivery.Run(run)) break;
    }
    m_receiver.RestNext(m_delivery.End());
}

void CUdpEndpointLinux::SendData(const char* data, int length, unsigned long ip, unsigned short port) {
    if (!data || length <= 0 || static_cast<uint32_t>(length) > udp::kMaxDatagram || ip == 0 || port == 0) {
        udp::CountRefused(1);
        return;
    }
    const auto size = static_cast<uint32_t>(length);
    const auto to = static_cast<uint32_t>(ip);
    const uint32_t sourceIP = m_asked ? m_asked->Find(to, port) : 0;
    CUdpThreadBatch* batch = m_batches.Open();
    if (!batch) {
        SendNow(data, size, to, port, sourceIP);
    } else if (!batch->arena->Add(data, size, to, port, sourceIP)) {
        Flush(*batch->arena);
        batch->arena->Add(data, size, to, port, sourceIP);
    }
}

void CUdpEndpointLinux::SendNow(const char* data, uint32_t length, uint32_t ip, uint16_t port, uint32_t sourceIP) {
    const CUdpRun run{ip, port, 1, sourceIP, length, 0, length};
    m_sender.Send({&run, 1}, data);
}

void CUdpEndpointLinux::EndBatch() {
    if (CUdpThreadBatch* batch = m_batches.End()) {
        Flush(*batch->arena);
        batch->depth = 0;
    }
}

void CUdpEndpointLinux::FlushBatch() {
    if (CUdpThreadBatch* batch = m_batches.Open()) Flush(*batch->arena);
}

void CUdpEndpointLinux::Flush(CUdpArena& arena) {
    if (arena.Runs().empty()) return;
    m_sender.Send(arena.Runs(), arena.Bytes());
    arena.Clear();
}

#endif
