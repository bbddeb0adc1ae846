// A network of its own with one end of a cable in it.
#pragma once

#include "platform/lumonet/file_descriptor.h"

#include <cstdint>

namespace bench {

/// A network namespace whose only way out is a TUN device. Goes when the last process has left it.
class CNetworkSpace {
public:
    /// `address` is its own, in a network of 24 bits. Throws where the system does not allow it. Whoever makes it has
    /// its own network back afterwards.
    explicit CNetworkSpace(uint32_t address);

    /// What the kernel sends comes out here packet by packet, and what is written goes in.
    int Cable() const { return m_cable.Get(); }
    /// For setns.
    int Descriptor() const { return m_space.Get(); }
    uint32_t Address() const { return m_ulAddress; }

private:
    const uint32_t m_ulAddress;
    CFileDescriptor m_space;
    CFileDescriptor m_cable;
};

}  // namespace bench
