// The 32-bit identity that an object has on the wire.
#pragma once

#include <cstdint>

/// Random, so that nobody can guess another's; never 0; unique among the live objects of the process.
class CObjectID {
public:
    CObjectID();
    ~CObjectID();
    CObjectID(const CObjectID&) = delete;
    CObjectID& operator=(const CObjectID&) = delete;

    uint32_t Get() const { return m_ulID; }

private:
    const uint32_t m_ulID;
};
