// The frames of the signalling service, which its clients and the service itself write and read: a user ID, then a
// packet. From a client the ID is the target's, from the service the sender's.
#pragma once

#include "core/wire/wire_io.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace signalling {

inline constexpr int kUserIDLength = 4;  // shorter frames are keep-alives
inline constexpr int kMaxPacket = 64 << 10;
inline constexpr int kMaxFrame = kUserIDLength + kMaxPacket;
inline constexpr uint64_t kMaxQueueBytes = 1 << 20;  // what may wait for a far side that reads slowly

inline std::string Frame(uint32_t userID, const char* packet, int length) {
    const wire::CWireWriter head = wire::CWireWriter().U32(userID);
    std::string frame(head.Data(), static_cast<size_t>(head.Length()));
    return frame.append(packet, static_cast<size_t>(length));
}

}  // namespace signalling
