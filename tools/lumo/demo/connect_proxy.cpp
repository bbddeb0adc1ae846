#include "tools/lumo/demo/connect_proxy.h"

#include "tools/lumo/demo/sockets.h"

#include <asio/posix/stream_descriptor.hpp>
#include <asio/read_until.hpp>
#include <asio/write.hpp>

#include <memory>
#include <utility>

namespace lumo {

using asio::ip::tcp;
using Error = asio::error_code;

/// A client and its target. Lives while it waits for either.
class CConnectProxy::CTunnel : public std::enable_shared_from_this<CTunnel> {
public:
    CTunnel(CConnectProxy& proxy, tcp::socket client)
        : m_proxy(proxy), m_client(std::move(client)), m_target(proxy.m_context) {
        ++m_proxy.m_nClients;
    }
    ~CTunnel() {
        if (m_proxy.m_nClients-- == kMaxTunnels && !m_proxy.m_context.stopped()) m_proxy.Accept();
    }

    void Start() {
        constexpr size_t kMaxHead = 8192;
        asio::async_read_until(m_client, asio::dynamic_buffer(m_strToTarget, kMaxHead), "\r\n\r\n",
                               [self = shared_from_this()](const Error& error, size_t length) {
                                   if (!error) self->OnHead(length);
                               });
    }

private:
    void OnHead(size_t length) {
        Endpoint to;
        if (!ParseRequest(m_strToTarget, to)) return Refuse("403 Forbidden");
        m_strToTarget.erase(0, length);  // what came with the request is the target's
        m_target.async_connect({asio::ip::address_v4(to.ip), to.port}, [self = shared_from_this()](const Error& error) {
            if (error) return self->Refuse("502 Bad Gateway");
            ++self->m_proxy.m_nTunnels;
            self->m_strToClient = "HTTP/1.1 200 Connection established\r\n\r\n";
            Error ignored;
            for (tcp::socket* side : {&self->m_client, &self->m_target}) side->set_option(tcp::no_delay(true), ignored);
            self->Pass(self->m_target, self->m_client, self->m_strToClient);
            self->Pass(self->m_client, self->m_target, self->m_strToTarget);
        });
    }

    void Refuse(const char* line) {
        m_strToClient = std::string("HTTP/1.1 ") + line + "\r\n\r\n";
        asio::async_write(m_client, asio::buffer(m_strToClient), [self = shared_from_this()](const Error&, size_t) {});
    }

    /// Writes `out`, and then what `from` says until its end.
    void Pass(tcp::socket& from, tcp::socket& to, std::string& out) {
        asio::async_write(to, asio::buffer(out), [&, self = shared_from_this()](const Error& error, size_t) {
            if (error) return self->Close();
            out.resize(65536);
            from.async_read_some(asio::buffer(out), [&, self](const Error& end, size_t length) {
                if (end && end != asio::error::eof) return self->Close();
                Error ignored;
                if (end) return void(to.shutdown(tcp::socket::shutdown_send, ignored));
                out.resize(length);
                self->Pass(from, to, out);
            });
        });
    }

    void Close() {
        Error ignored;
        m_client.close(ignored);
        m_target.close(ignored);
    }

    CConnectProxy& m_proxy;
    tcp::socket m_client, m_target;
    std::string m_strToClient, m_strToTarget;
};

bool CConnectProxy::Open(const Endpoint& listenOn, std::string& problem) {
    try {
        m_acceptor = tcp::acceptor(m_context, {asio::ip::address_v4(listenOn.ip), listenOn.port});
        Accept();
        return true;
    } catch (const asio::system_error& error) {
        problem = "cannot open " + listenOn.Text() + ": " + error.code().message();
        return false;
    }
}

bool CConnectProxy::ParseRequest(const std::string& head, Endpoint& target) {
    static const std::string verb = "CONNECT ";
    const size_t end = head.find(' ', verb.size());
    if (head.compare(0, verb.size(), verb) != 0 || end == std::string::npos) return false;
    if (head.compare(end, 6, " HTTP/") != 0) return false;
    return ParseEndpoint(head.substr(verb.size(), end - verb.size()), target) && target.ip >> 24 == 127 &&
           target.port != 0;
}

void CConnectProxy::Accept() {
    m_acceptor.async_accept([this](const Error& error, tcp::socket client) {
        if (!error) std::make_shared<CTunnel>(*this, std::move(client))->Start();
        if (m_nClients < kMaxTunnels) Accept();
    });
}

void CConnectProxy::ServeUntilReadable(int fd) {
    asio::posix::stream_descriptor end(m_context, fd);
    end.async_wait(asio::posix::stream_descriptor::wait_read, [this](const Error&) { m_context.stop(); });
    m_context.run();
    end.release();
}

}  // namespace lumo
