// Where participants point: of what waits for a link that lags only the newest is worth sending.
#pragma once

#include <cstdint>

class CFrameLink;

namespace wb {

/// While it lives, its thread passes on what that session said to the others, a message of the application's own. It
/// tells the sessions of this process whose message they are given. Nests.
class CRelaying {
public:
    explicit CRelaying(uint32_t origin);
    ~CRelaying();
    CRelaying(const CRelaying&) = delete;
    CRelaying& operator=(const CRelaying&) = delete;

private:
    const uint32_t m_ulOuter;
};

/// Whether a message that is just passed on says where somebody points. It then gives way to a newer one of the same
/// key, which stands for sender and object ID.
bool IsPointer(const char* data, int length, uint64_t& key);

/// Queues a message, a pointer as such.
void Queue(CFrameLink& link, const char* data, int length);

}  // namespace wb
