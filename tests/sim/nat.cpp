#include "sim/nat.h"

#include "support/session_wire.h"

namespace sim {
namespace {

// How a packet travels through the world: both addresses, then its bytes.
std::string Wrap(const Packet& packet) {
    using session_wire::U32;
    return U32(packet.from.ip) + U32(packet.from.port) + U32(packet.to.ip) + U32(packet.to.port) + packet.bytes;
}
Packet Unwrap(const std::string& bytes) {
    const auto field = [&](size_t index) { return session_wire::ReadU32(bytes, index * 4); };
    return {{field(0), static_cast<uint16_t>(field(1))}, {field(2), static_cast<uint16_t>(field(3))}, bytes.substr(16)};
}

}  // namespace

void CNetwork::Join(uint32_t ip, Receiver receiver) {
    m_members.insert(ip);
    m_world.Attach({ip, m_usNumber}, [receiver](const std::string& bytes, Address) { receiver(Unwrap(bytes)); });
    m_world.AddFault<CDelaySpread>({0, m_usNumber}, {ip, m_usNumber}, m_delay, m_delay);
}

void CNetwork::Send(const Packet& packet) {
    const uint32_t next = m_members.count(packet.to.ip) > 0 ? packet.to.ip : kGateway;
    if (m_members.count(next) == 0) return;  // no way from here
    const std::string bytes = Wrap(packet);
    m_world.Send({0, m_usNumber}, {next, m_usNumber}, bytes.data(), static_cast<int>(bytes.size()));
}

CNat::CNat(CNetwork& inside, CNetwork& outside, uint32_t outerIP, const NatKind& kind)
    : m_inside(inside), m_outside(outside), m_ulOuterIP(outerIP), m_kind(kind) {
    m_inside.SetGateway([this](const Packet& packet) { Out(packet); });
    m_outside.Join(outerIP, [this](const Packet& packet) { In(packet); });
}

uint16_t CNat::Map(Address inner, Address target) {
    const auto key = std::make_pair(inner, m_kind.mappingPerTarget ? target : Address());
    const auto made = m_ports.try_emplace(key, m_usNextPort);
    if (made.second) m_mappings[m_usNextPort++].inner = inner;
    return made.first->second;
}

void CNat::Out(const Packet& packet) {
    const bool back = packet.to.ip == m_ulOuterIP;
    if (back && !m_kind.hairpin) return;
    const uint16_t port = Map(packet.from, packet.to);
    m_mappings[port].targets.insert(packet.to);
    const Packet translated{{m_ulOuterIP, port}, packet.to, packet.bytes};
    if (back)
        In(translated);
    else
        m_outside.Send(translated);
}

bool CNat::LetsIn(const Mapping& mapping, Address from) const {
    if (m_kind.filter == NatFilter::Anybody) return true;
    if (m_kind.filter == NatFilter::AddressAndPort) return mapping.targets.count(from) > 0;
    const auto first = mapping.targets.lower_bound({from.ip, 0});
    return first != mapping.targets.end() && first->ip == from.ip;
}

void CNat::In(const Packet& packet) {
    const auto found = m_mappings.find(packet.to.port);
    if (found == m_mappings.end() || !LetsIn(found->second, packet.from)) return;
    m_inside.Send({packet.from, found->second.inner, packet.bytes});
}

}  // namespace sim
