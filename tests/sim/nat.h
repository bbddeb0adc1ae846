// Networks and NATs between the hosts of a world.
#pragma once

#include "sim/harness.h"
#include "support/session_wire.h"

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>

namespace sim {

struct Packet {
    Address from, to;
    std::string bytes;
};

/// Its members reach each other by address; what is for none of them goes to the gateway, or nowhere.
class CNetwork {
public:
    using Receiver = std::function<void(const Packet& packet)>;

    /// Every packet takes `delay` ms.
    CNetwork(CWorld& world, uint16_t number, uint32_t delay) : m_world(world), m_usNumber(number), m_delay(delay) {}
    CNetwork(const CNetwork&) = delete;
    CNetwork& operator=(const CNetwork&) = delete;

    void Join(uint32_t ip, Receiver receiver) {
        m_members.insert(ip);
        m_world.Attach({ip, m_usNumber}, [receiver](const std::string& bytes, Address) { receiver(Unwrap(bytes)); });
        m_world.AddFault({0, m_usNumber}, {ip, m_usNumber}, Delay(m_delay, m_delay));
    }
    void SetGateway(Receiver receiver) { Join(kGateway, std::move(receiver)); }
    void Send(const Packet& packet) {
        const uint32_t next = m_members.count(packet.to.ip) > 0 ? packet.to.ip : kGateway;
        if (m_members.count(next) == 0) return;  // no way from here
        const std::string bytes = Wrap(packet);
        m_world.Send({0, m_usNumber}, {next, m_usNumber}, bytes.data(), static_cast<int>(bytes.size()));
    }

private:
    static constexpr uint32_t kGateway = 0xffffffff;

    // How a packet travels through the world: both addresses, then its bytes.
    static std::string Wrap(const Packet& packet) {
        using session_wire::U32;
        return U32(packet.from.ip) + U32(packet.from.port) + U32(packet.to.ip) + U32(packet.to.port) + packet.bytes;
    }
    static Packet Unwrap(const std::string& bytes) {
        const auto address = [&](size_t offset) {
            return Address{session_wire::ReadU32(bytes, offset),
                           static_cast<uint16_t>(session_wire::ReadU32(bytes, offset + 4))};
        };
        return {address(0), address(8), bytes.substr(16)};
    }

    CWorld& m_world;
    const uint16_t m_usNumber;
    const uint32_t m_delay;
    std::set<uint32_t> m_members;
};

/// From whom a mapping lets packets in: anybody, or only those (by address, or by address and port) it has sent to.
enum class NatFilter { Anybody, Address, AddressAndPort };

struct NatKind {
    bool mappingPerTarget;
    NatFilter filter;
    bool hairpin = false;  ///< lets its inner hosts reach each other by their outer addresses
};

inline constexpr NatKind kFullCone{false, NatFilter::Anybody};
inline constexpr NatKind kRestricted{false, NatFilter::Address};
inline constexpr NatKind kPortRestricted{false, NatFilter::AddressAndPort};
inline constexpr NatKind kSymmetric{true, NatFilter::AddressAndPort};
inline constexpr NatKind kHairpin{false, NatFilter::AddressAndPort, true};

/// Drops without a word what it does not let in.
class CNat {
public:
    CNat(CNetwork& inside, CNetwork& outside, uint32_t outerIP, const NatKind& kind)
        : m_inside(inside), m_outside(outside), m_ulOuterIP(outerIP), m_kind(kind) {
        m_inside.SetGateway([this](const Packet& packet) { Out(packet); });
        m_outside.Join(outerIP, [this](const Packet& packet) { In(packet); });
    }
    CNat(const CNat&) = delete;
    CNat& operator=(const CNat&) = delete;

private:
    struct Mapping {
        Address inner;
        std::set<Address> targets;
    };
    void Out(const Packet& packet) {
        const bool back = packet.to.ip == m_ulOuterIP;
        if (back && !m_kind.hairpin) return;
        const auto key = std::make_pair(packet.from, m_kind.mappingPerTarget ? packet.to : Address());
        const auto [port, made] = m_ports.try_emplace(key, m_usNextPort);
        if (made) m_mappings[m_usNextPort++].inner = packet.from;
        m_mappings[port->second].targets.insert(packet.to);
        const Packet translated{{m_ulOuterIP, port->second}, packet.to, packet.bytes};
        if (back)
            In(translated);
        else
            m_outside.Send(translated);
    }
    bool LetsIn(const Mapping& mapping, Address from) const {
        if (m_kind.filter == NatFilter::Anybody) return true;
        if (m_kind.filter == NatFilter::AddressAndPort) return mapping.targets.count(from) > 0;
        const auto first = mapping.targets.lower_bound({from.ip, 0});
        return first != mapping.targets.end() && first->ip == from.ip;
    }
    void In(const Packet& packet) {
        const auto found = m_mappings.find(packet.to.port);
        if (found == m_mappings.end() || !LetsIn(found->second, packet.from)) return;
        m_inside.Send({packet.from, found->second.inner, packet.bytes});
    }

    CNetwork& m_inside;
    CNetwork& m_outside;
    const uint32_t m_ulOuterIP;
    const NatKind m_kind;
    uint16_t m_usNextPort = 50001;
    std::map<std::pair<Address, Address>, uint16_t> m_ports;
    std::map<uint16_t, Mapping> m_mappings;
};

}  // namespace sim
