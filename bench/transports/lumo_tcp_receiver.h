// A subscription over TCP, which dials the publisher's listener.
#pragma once

#include "bench/harness/sockets.h"
#include "bench/transports/lumo_node.h"
#include "core/wire/wire_io.h"
#include "platform/lumobase/event.h"
#include "platform/lumonet/lumonet.h"

#include <stdexcept>
#include <utility>

namespace bench {

/// Frames come from the moment the sink has answered the validation.
class CTcpReceiver final : private ITcpClientNotify {
public:
    CTcpReceiver(wire::TcpType type, uint16_t port, FrameHandler onFrame) : m_onFrame(std::move(onFrame)) {
        m_pClient = CreateTcpClient(this, GetIpAddr(RunHosts().far), port, 0, "", 0, "", "");
        if (!m_pClient) throw std::runtime_error("no TCP client");
        // Sent before the connection stands, it leaves as soon as it does.
        const wire::CWireWriter validation =
            wire::CWireWriter().U32(static_cast<uint32_t>(type)).U32(4).U32(kChannelID);
        m_pClient->SendData(validation.Data(), validation.Length(), 1);
        if (!m_validated.WaitFor(kConnectMs)) throw std::runtime_error("the TCP sink did not answer");
    }
    virtual ~CTcpReceiver() {
        if (m_pClient) m_pClient->ReleaseConnections();
    }
    CTcpReceiver(const CTcpReceiver&) = delete;
    CTcpReceiver& operator=(const CTcpReceiver&) = delete;

private:
    bool OnTcpClientNotifyValidate(unsigned long, const char*, int) override {
        m_validated.Signal();
        return true;
    }
    bool OnTcpClientNotifyReceivedFrame(const char* data, int length) override {
        m_onFrame(data, length);
        return true;
    }

    FrameHandler m_onFrame;
    CEvent m_validated;
    ITcpClient* m_pClient = nullptr;
};

}  // namespace bench
