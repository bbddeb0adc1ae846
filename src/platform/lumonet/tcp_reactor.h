// The one thread that serves every TCP connection.
#pragma once

#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <cstddef>
#include <memory>
#include <utility>

class CTcpReactorRun;

/// A user of the reactor. The first one starts its thread; the thread ends by itself once the last one is gone, on
/// whichever thread that happens, the reactor's own included. Hold it in every object that the thread calls into.
class CTcpReactor {
public:
    /// Throws when the thread cannot be had.
    CTcpReactor();
    ~CTcpReactor();
    CTcpReactor(const CTcpReactor& other);
    CTcpReactor& operator=(const CTcpReactor&) = delete;

    asio::io_context& Io() const;
    bool OnThread() const;
    /// A block of net::kReadTurn bytes that the reactor's thread reads into; its content lasts for one turn.
    char* Scratch() const;
    /// Runs `work` on the reactor's thread, later; false when there is no memory for it.
    template <typename Work>
    bool Post(Work&& work) const noexcept {
        try {
            asio::post(Io(), std::forward<Work>(work));
            return true;
        } catch (...) {
            return false;
        }
    }

private:
    std::shared_ptr<CTcpReactorRun> m_run;
};
