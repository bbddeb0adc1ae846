// The end of a connection whose far side may not have taken everything yet.
#pragma once

#include "platform/lumonet/tcp_reactor.h"

#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <memory>

/// Sends nothing more, and reads and discards until the far side closes or the time is over: a socket that is closed
/// with bytes unread resets the connection, and what is still in flight to the far side is lost.
class CTcpFarewell : public std::enable_shared_from_this<CTcpFarewell> {
public:
    using Closed = std::function<void()>;

    /// Reactor: takes the socket over, and calls `closed` there when it is closed. False without memory: the socket has
    /// closed at once, and nothing is called. Beyond net::kMaxFarewells the oldest ends.
    static bool Begin(const CTcpReactor& reactor, asio::ip::tcp::socket socket, Closed closed = {}) noexcept;
    /// Reactor: closes the oldest one, for its descriptor; false when there is none.
    static bool EndOldest();
    /// At unload, when the reactor's thread has ended: waits until the far hosts have what was sent to them.
    static void FinishAll() noexcept;

    CTcpFarewell(const CTcpReactor& reactor, asio::ip::tcp::socket socket, Closed closed);
    ~CTcpFarewell();
    CTcpFarewell(const CTcpFarewell&) = delete;
    CTcpFarewell& operator=(const CTcpFarewell&) = delete;

private:
    void Start();
    void Turn();
    /// Discards what has come; false when there is nothing to wait for.
    bool Discard();
    /// The far host has acknowledged everything.
    bool HasArrived();
    void Close();
    void Leave();

    const CTcpReactor m_reactor;  // first, so that it goes last
    asio::ip::tcp::socket m_socket;
    asio::steady_timer m_timer;
    const std::chrono::steady_clock::time_point m_end;
    Closed m_closed;
};
