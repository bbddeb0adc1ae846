// A UDP path that loses and delays, for trying things out: datagrams to one port go on to another and back.
#pragma once

#include "platform/lumonet/file_descriptor.h"
#include "tools/lumo/dump/packet.h"

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace lumo {

struct ImpairOptions {
    double loss = 0;       ///< share of datagrams that vanish, each way
    uint32_t delayMs = 0;  ///< each way
    uint32_t seed = 1;
};

/// Counts session data packets that pass again, those lost here included.
class CRepeatCounter {
public:
    /// `direction` tells the two ways of a path apart.
    void Look(uint64_t direction, const uint8_t* datagram, size_t length);
    uint64_t DataPackets() const { return m_nData; }
    uint64_t Repeated() const { return m_nRepeated; }

private:
    struct Link {
        bool started = false;
        uint16_t highest = 0;
    };
    std::map<std::array<uint64_t, 2>, Link> m_links;  // by direction, kind, command and ID; bounded
    uint64_t m_nData = 0;
    uint64_t m_nRepeated = 0;
};

/// One thread. Clients are known by their address; each has a socket of its own towards the target.
class CImpairedPath {
public:
    CImpairedPath(const Endpoint& target, const ImpairOptions& options);

    /// Opens the port that clients use; 0 takes a free one, which Port() tells.
    bool Open(const Endpoint& listen, std::string& problem);
    uint16_t Port() const { return m_usPort; }
    /// Passes on what comes and what is due. Returns within `milliseconds`.
    void Turn(uint64_t now, uint64_t milliseconds, int alsoFd);

    uint64_t Seen() const { return m_nSeen; }
    uint64_t Lost() const { return m_nLost; }
    const CRepeatCounter& Repeats() const { return m_repeats; }

private:
    struct Waiting {
        uint64_t due;
        int fd;
        Endpoint to;
        std::string bytes;
    };
    struct Client {
        Endpoint address;
        CFileDescriptor fd;
    };
    static constexpr size_t kMaxClients = 64;
    static constexpr size_t kMaxWaiting = 65536;
    static constexpr int kBurst = 256;  // datagrams of one socket per turn

    void TakeFrom(int fd, size_t client, uint64_t now);
    void Pass(uint64_t now, size_t client, bool toTarget, const char* data, size_t length);
    void SendDue(uint64_t now);
    size_t ClientOf(const Endpoint& address);

    const Endpoint m_target;
    const ImpairOptions m_options;
    std::mt19937 m_random;
    CFileDescriptor m_listen;
    uint16_t m_usPort = 0;
    std::vector<Client> m_clients;
    std::deque<Waiting> m_waiting;
    uint64_t m_nSeen = 0;
    uint64_t m_nLost = 0;
    CRepeatCounter m_repeats;
};

}  // namespace lumo
