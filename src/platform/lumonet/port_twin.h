// Keeps the TCP port of the same number for the listener that follows a UDP endpoint.
#pragma once

#include <cstdint>

/// One reservation in the process-wide table; given up when this object ends, unless a listener has taken it.
class CPortTwin {
public:
    CPortTwin() = default;
    CPortTwin(CPortTwin&& other) noexcept;
    CPortTwin& operator=(CPortTwin&& other) noexcept;
    ~CPortTwin();

    /// False when somebody has that TCP port.
    bool Reserve(uint32_t localIP, uint16_t port);

private:
    uint64_t m_nID = 0;  // 0: none
};
