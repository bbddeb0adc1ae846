// Networks and NATs between the hosts of a world.
#pragma once

#include "sim/harness.h"

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

    void Join(uint32_t ip, Receiver receiver);
    void SetGateway(Receiver receiver) { Join(kGateway, std::move(receiver)); }
    void Send(const Packet& packet);

private:
    static constexpr uint32_t kGateway = 0xffffffff;

    CWorld& m_world;
    const uint16_t m_usNumber;
    const uint32_t m_delay;
    std::set<uint32_t> m_members;
};

/// From whom a mapping lets packets in: anybody, or only those (by address, or by address and port) it has sent to.
enum class NatFilter { Anybody, Address, AddressAndPort };

struct NatKind {
    const char* name;
    bool mappingPerTarget;
    NatFilter filter;
    bool hairpin;  ///< lets its inner hosts reach each other by their outer addresses
};

inline constexpr NatKind kFullCone{"full cone", false, NatFilter::Anybody, false};
inline constexpr NatKind kRestricted{"restricted", false, NatFilter::Address, false};
inline constexpr NatKind kPortRestricted{"port-restricted", false, NatFilter::AddressAndPort, false};
inline constexpr NatKind kSymmetric{"symmetric", true, NatFilter::AddressAndPort, false};
inline constexpr NatKind kHairpin{"port-restricted with hairpin", false, NatFilter::AddressAndPort, true};

/// Drops without a word what it does not let in.
class CNat {
public:
    CNat(CNetwork& inside, CNetwork& outside, uint32_t outerIP, const NatKind& kind);
    CNat(const CNat&) = delete;
    CNat& operator=(const CNat&) = delete;

private:
    struct Mapping {
        Address inner;
        std::set<Address> targets;
    };
    void Out(const Packet& packet);
    void In(const Packet& packet);
    uint16_t Map(Address inner, Address target);
    bool LetsIn(const Mapping& mapping, Address from) const;

    CNetwork& m_inside;
    CNetwork& m_outside;
    const uint32_t m_ulOuterIP;
    const NatKind m_kind;
    uint16_t m_usNextPort = 50001;
    std::map<std::pair<Address, Address>, uint16_t> m_ports;
    std::map<uint16_t, Mapping> m_mappings;
};

}  // namespace sim
