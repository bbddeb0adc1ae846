// Ranges of IPv4 addresses, as operators write them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// One range; addresses in host byte order.
class CCidr {
public:
    CCidr(uint32_t network, unsigned prefix)
        : m_ulMask(prefix == 0 ? 0 : ~uint32_t{0} << (32 - prefix)), m_ulNetwork(network & m_ulMask) {}

    bool Contains(uint32_t ip) const { return (ip & m_ulMask) == m_ulNetwork; }
    bool operator==(const CCidr&) const = default;

    /// "10.0.0.0/8", or one address. False, with `list` left as it was, on anything else.
    static bool Parse(const std::string& text, std::vector<CCidr>& list);

private:
    uint32_t m_ulMask;
    uint32_t m_ulNetwork;
};

using CCidrList = std::vector<CCidr>;

bool Contains(const CCidrList& list, uint32_t ip);
