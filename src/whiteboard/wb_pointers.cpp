#include "whiteboard/wb_pointers.h"

#include "link/udp/frame_link.h"
#include "whiteboard/wb_message.h"

namespace wb {
namespace {

constexpr int kPlaceLen = 8;  // x, y; nothing when it has gone

thread_local uint32_t t_ulOrigin = 0;  // no session has this ID

}  // namespace

CRelaying::CRelaying(uint32_t origin) : m_ulOuter(t_ulOrigin) { t_ulOrigin = origin; }

CRelaying::~CRelaying() { t_ulOrigin = m_ulOuter; }

bool IsPointer(const char* data, int length, uint64_t& key) {
    if (t_ulOrigin == 0 || (length != kHeaderLen && length != kHeaderLen + kPlaceLen)) return false;
    const CMessage message{data, length};
    if (message.Command() != WB_CMD_POINTER) return false;
    key = (uint64_t{t_ulOrigin} << 32) | message.ObjectID();
    return true;
}

void Queue(CFrameLink& link, const char* data, int length) {
    uint64_t key = 0;
    if (IsPointer(data, length, key))
        link.QueueNewest(key, data, length);
    else
        link.QueueFrame(data, length);
}

}  // namespace wb
