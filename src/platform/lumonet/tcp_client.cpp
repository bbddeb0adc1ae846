#include "platform/lumonet/tcp_client.h"

#include "platform/lumonet/net_real.h"
#include "platform/lumonet/socket_address.h"

using asio::ip::tcp;

CTcpClient::CTcpClient(ITcpClientNotify* notify, uint32_t ip, uint16_t port)
    : CTcpConnection(0), m_pNotify(notify), m_ulIP(ip), m_usPort(port) {}

bool CTcpClient::Dial(const std::optional<CProxyServer>& proxy) {
    auto dial = [self = std::static_pointer_cast<CTcpClient>(shared_from_this()), proxy] {
        if (self->IsLost()) return;
        try {
            self->SetTimer(net::g_timeouts.dial, "the dial takes too long");
            if (proxy) {
                self->DialThrough(*proxy);
            } else {
                self->DialDirectly();
            }
        } catch (...) {
            self->Lose("no way to dial");
        }
    };
    Pin();
    if (m_reactor.Post(std::move(dial))) return true;
    Unpin();
    return false;
}

// The socket becomes the connection's own.
bool CTcpClient::Adopt(CFileDescriptor socket) {
    asio::error_code error = asio::error::bad_descriptor;
    if (socket) m_socket.assign(tcp::v4(), socket.Get(), error);
    if (error) return false;
    socket.Take();
    return true;
}

void CTcpClient::DialDirectly() {
    if (!Adopt(OpenSocket(SOCK_STREAM))) return Lose("no socket to dial with");
    const tcp::endpoint target(asio::ip::address_v4(m_ulIP), m_usPort);
    m_socket.async_connect(
        target, [self = std::static_pointer_cast<CTcpClient>(shared_from_this())](const asio::error_code& error) {
            if (self->IsLost()) return;
            if (error) return self->Lose("nobody answers the dial");
            self->OnConnected();
        });
}

void CTcpClient::DialThrough(const CProxyServer& proxy) {
    std::weak_ptr<CTcpConnection> weak = weak_from_this();
    m_proxyDial = CProxyDial(proxy, GetIpAddr(m_ulIP), m_usPort, [weak](CFileDescriptor socket, const CProxyFailure&) {
        auto self = std::static_pointer_cast<CTcpClient>(weak.lock());
        if (!self) return;
        const CTcpReactor reactor;  // this call's own: the object may go before Post has returned
        reactor.Post([self = std::move(self), socket = std::move(socket)]() mutable {
            self->OnProxyDialled(std::move(socket));
        });
    });
}

void CTcpClient::OnProxyDialled(CFileDescriptor socket) {
    if (IsLost()) return;
    if (!Adopt(std::move(socket))) return Lose("the proxy does not connect");
    OnConnected();
}

void CTcpClient::OnConnected() {
    asio::error_code error;
    // A dial to a port of this host that nobody listens on can meet itself.
    if (m_socket.local_endpoint(error) == m_socket.remote_endpoint(error) || error) return Lose("nobody is there");
    SetTimer(net::g_timeouts.answer, "no answer to the validation message");
    if (!GuardedCall(m_gate, [this] { return m_pNotify->OnTcpClientNotifyConnected(), true; })) return Lose("given up");
    Begin();
}

bool CTcpClient::OnValidation(const CTcpValidation& validation) {
    CancelTimer();
    return GuardedCall(m_gate, [&] {
        return m_pNotify->OnTcpClientNotifyValidate(validation.type, validation.data,
                                                    static_cast<int>(validation.length));
    });
}

CTcpClient::Verdict CTcpClient::OnFrame(const char* data, int length) {
    const auto frame = [&] { return m_pNotify->OnTcpClientNotifyReceivedFrame(data, length); };
    return GuardedCall(m_gate, frame) ? Verdict::Taken : Verdict::Refused;
}

void CTcpClient::OnLost() {
    m_proxyDial.Cancel();
    GuardedCall(m_gate, [this] { return m_pNotify->OnTcpClientNotifyDisconnected(), true; });
}

ITcpClient* MakeTcpClient(ITcpClientNotify* notify, const std::string& server, unsigned short port, int proxyType,
                          const std::string& proxyHost, unsigned short proxyPort, const std::string& proxyUser,
                          const std::string& proxyPassword) {
    uint32_t ip = 0;
    // The kernel would take address 0 for this host.
    if (!notify || !ParseIpAddr(server, ip) || ip == 0 || port == 0) return nullptr;
    try {
        std::optional<CProxyServer> proxy;
        if (static_cast<ProxyType>(proxyType) != ProxyType::None) {
            proxy = CProxyServer{static_cast<ProxyType>(proxyType), proxyHost, proxyPort, proxyUser, proxyPassword};
            if (!proxy->IsUsable()) return nullptr;
        }
        const auto client = std::make_shared<CTcpClient>(notify, ip, port);
        return client->Dial(proxy) ? client.get() : nullptr;
    } catch (...) {
        LUMO_LOG_ERROR("MakeTcpClient. no way to dial %s", server.c_str());
        return nullptr;
    }
}
