// Which server a subscriber asks, and what it says of where the channel is at home.
#pragma once

#include "core/wire/wire_io.h"
#include "link/mcu_address.h"
#include "link/media.h"

#include <cstdint>

/// The near server relays from the publisher's one, unless they are the same. Set before the dial, or before the
/// receiver is known to other threads.
class CRelayRequest {
public:
    /// `publishersOnly`: the near one is not asked in any case.
    void Set(const CMcuAddress& publishers, const CMcuAddress& near, bool publishersOnly = false) {
        m_publishers = publishers;
        m_near = near;
        m_bPublishersOnly = publishersOnly;
    }
    /// Whether the publisher's server has an address and a port.
    bool IsWhole() const { return !m_publishers.IsEmpty() && m_publishers.port != 0; }
    bool IsPublishersOnly() const { return m_bPublishersOnly; }
    /// Whom to ask.
    const CMcuAddress& Server() const { return Relays() ? m_near : m_publishers; }
    /// The fields behind the channel ID: the publisher's server, or zeros where nothing is to be relayed, and the user.
    void Append(wire::CWireWriter& request, const CSinkRow& row, uint32_t userID = 0) const {
        const bool relays = Relays();
        for (const uint32_t ip : m_publishers.ips) request.U32(relays ? ip : 0);
        if (row.namesPort) request.U16(relays ? m_publishers.port : uint16_t{0});
        if (row.namesUser) request.U32(userID);
    }

private:
    bool Relays() const {
        return !m_bPublishersOnly && m_near.port != 0 && !m_near.IsEmpty() && !m_publishers.Overlaps(m_near);
    }

    CMcuAddress m_publishers;
    CMcuAddress m_near;
    bool m_bPublishersOnly = false;
};
