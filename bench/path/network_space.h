// A network of its own with ends of cables in it.
#pragma once

#include "platform/lumonet/file_descriptor.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace bench {

/// A network namespace whose only ways out are TUN devices. Goes when the last process has left it.
class CNetworkSpace {
public:
    /// An address for each device, each in a network of 24 bits of its own. Throws where the system does not allow it.
    /// Whoever makes it has its own network back afterwards.
    explicit CNetworkSpace(const std::vector<uint32_t>& addresses);

    /// What the kernel sends comes out here packet by packet, and what is written goes in.
    int Cable(size_t index = 0) const { return m_cables.at(index).Get(); }
    /// For setns.
    int Descriptor() const { return m_space.Get(); }
    /// Runs something in this network, and throws what it throws.
    void Do(const std::function<void()>& action) const;

private:
    CFileDescriptor m_space;
    std::vector<CFileDescriptor> m_cables;
};

}  // namespace bench
