#include "platform/lumonet/asked_addresses.h"

#include "platform/lumobase/clock.h"

namespace {

uint64_t Random48() {
    const uint64_t high = Lumo_Base::GenerateSSRC();
    return (high << 32 | Lumo_Base::GenerateSSRC()) >> 16;
}

}  // namespace

CAskedAddresses::CAskedAddresses() : m_nSecret(Random48()), m_nFactor(Random48() | 1) {}
