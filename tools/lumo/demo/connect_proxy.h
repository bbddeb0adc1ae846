// A small HTTP proxy that knows CONNECT and nothing else, for loopback.
#pragma once

#include "tools/lumo/dump/packet.h"
#include "tools/lumo/transfer/unique_fd.h"

#include <cstdint>
#include <list>
#include <string>
#include <vector>

struct pollfd;

namespace lumo {

/// One thread. Tunnels only to loopback addresses given in digits.
class CConnectProxy {
public:
    bool Open(const Endpoint& listen, std::string& problem);
    uint16_t Port() const { return m_usPort; }
    /// Passes on what comes. Returns within `milliseconds`.
    void Turn(uint64_t milliseconds, int alsoFd);
    uint64_t Tunnels() const { return m_nTunnels; }

    /// The target of a request head; false when it is no CONNECT to loopback.
    static bool ParseRequest(const std::string& head, Endpoint& target);

private:
    static constexpr size_t kMaxTunnels = 64;
    static constexpr size_t kMaxHead = 8192;
    static constexpr size_t kMaxBuffered = 256 * 1024;

    struct Side {
        CUniqueFd fd;
        std::string out;        ///< still to be written to it
        bool readEnd = false;   ///< it has said all
        bool writeEnd = false;  ///< and has been told that nothing more comes
    };
    struct Tunnel {
        Side client, target;
        std::string head;
        bool open = false;  ///< both sides stand
        bool connecting = false;
        bool dead = false;
    };

    void Accept();
    static void AddWaits(const Tunnel& tunnel, std::vector<pollfd>& waits);
    void Serve(Tunnel& tunnel, const pollfd& client, const pollfd& target);
    static void ReadHead(Tunnel& tunnel);
    void FinishConnect(Tunnel& tunnel);
    static void Answer(Tunnel& tunnel, const char* line);
    static void Read(Tunnel& tunnel, Side& from, Side& to);
    static void Write(Tunnel& tunnel, Side& to, const Side& from);

    CUniqueFd m_listen;
    uint16_t m_usPort = 0;
    std::list<Tunnel> m_tunnels;
    uint64_t m_nTunnels = 0;
};

}  // namespace lumo
