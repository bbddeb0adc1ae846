#include "whiteboard/wb_paced_requests.h"

#include "link/process/work_signal.h"
#include "whiteboard/wb_objects.h"

#include <algorithm>

namespace {

constexpr size_t kMostKept = 2 * CWBObjects::kMaxObjects;  // each object by both kinds of request

}  // namespace

CWBPacedRequests::~CWBPacedRequests() {
    if (!IsEmpty()) CWorkSignal::Get().LinkIdle();
}

bool CWBPacedRequests::IsRequest(const char* data, int length) {
    if (!data || length < wb::kHeaderLen) return false;
    const uint32_t command = wb::CMessage{data, length}.Command();
    return command == WB_CMD_OBJECT_REQUEST || command == WB_CMD_EXT_REQUEST;
}

bool CWBPacedRequests::Add(const char* request, uint64_t mostBytes) {
    const wb::CMessage message{request, wb::kHeaderLen};
    bool first = false;
    {
        CAutoLock lock(&m_cs);
        if (m_requests.size() >= std::min<uint64_t>(kMostKept, mostBytes / sizeof(Request))) return false;
        first = m_requests.empty();
        m_requests.push_back({message.Command(), message.ObjectID(), message.Tag()});
        m_nKept.store(m_requests.size(), std::memory_order_relaxed);
    }
    if (first) CWorkSignal::Get().LinkBusy();
    return true;
}

bool CWBPacedRequests::Take(char (&message)[wb::kHeaderLen]) {
    bool last = false;
    {
        CAutoLock lock(&m_cs);
        if (m_requests.empty()) return false;
        const Request request = m_requests.front();
        m_requests.pop_front();
        m_nKept.store(m_requests.size(), std::memory_order_relaxed);
        last = m_requests.empty();
        wb::PutHeader(message, request.command, request.objectID, request.tag);
    }
    if (last) CWorkSignal::Get().LinkIdle();
    return true;
}
