#include "whiteboard/wb_centre.h"

#include "link/bounds/limits.h"
#include "link/process/mcu_services.h"
#include "platform/lumobase/app_log.h"
#include "whiteboard/wb_channel_state.h"
#include "whiteboard/wb_pointers.h"
#include "whiteboard/wb_server_session.h"

#include <algorithm>
#include <memory>
#include <new>

using wb::CMessage;

namespace {

constexpr int kMoveHead = 8;  // dx, dy
static_assert(WB_MAX_MESSAGE == limits::kMaxFrameLen, "every link carries what a channel takes");

// More than the header's words and every object that may be stored is not worth asking for.
constexpr size_t kMaxAsked = CWBObjects::kMaxObjects + wb::kHeaderLen / 4;

struct CDrawer {
    uint32_t ip = 0;    // 0: this process
    bool peer = false;  // it has come to this host, rather than we to it
};

CWBChannelState* StateOf(CWBDataTransCenter& centre) {
    auto* channel = dynamic_cast<CWBChannel*>(&centre);
    return channel ? &CWBChannelState::Of(*channel) : nullptr;
}

CDrawer FindDrawer(CWBDataTransCenter& centre, uint32_t sessionID) {
    CDrawer drawer;
    CWBChannelState* state = StateOf(centre);
    if (!state) return drawer;
    drawer.ip = state->homeIP;
    state->sessions.With(sessionID, [&drawer](CWBSession& session) {
        auto* peer = dynamic_cast<CWBServerSession*>(&session);
        if (peer) drawer = {peer->Info().ip, true};
    });
    return drawer;
}

void MarkHeld(CWBDataTransCenter& centre) {
    if (CWBChannelState* state = StateOf(centre)) state->held.store(true, std::memory_order_relaxed);
}

}  // namespace

void CWBCentre::Process(uint32_t sessionID, const char* data, int length) {
    if (!data || length < wb::kHeaderLen) return;
    if (length > WB_MAX_MESSAGE) {
        LUMO_LOG_LINE("CWBDataTransCenter::ProcessWBData. A message of %d bytes is too long.", length);
        return;
    }
    const CMessage message{data, length};
    switch (message.Command()) {
        case WB_CMD_OBJECT_OFFER:
        case WB_CMD_OBJECT_REQUEST:
        case WB_CMD_OBJECT_DATA:
        case WB_CMD_OBJECT_DELETE:
        case WB_CMD_CLEAR:
        case WB_CMD_OBJECT_MOVE:
        case WB_CMD_REPLACE_ALL:
        case WB_CMD_OBJECT_LIST:
        case WB_CMD_STATE:
        case WB_CMD_EXT_OFFER:
        case WB_CMD_EXT_REQUEST:
        case WB_CMD_EXT_DATA: {
            CAutoLock lock(&m_csObjects);
            ProcessObjects(sessionID, message);
            break;
        }
        default: {
            const wb::CRelaying relaying(sessionID);
            Relay(sessionID, data, length);
        }
    }
}

void CWBCentre::ProcessObjects(uint32_t sessionID, const CMessage& message) {
    switch (message.Command()) {
        case WB_CMD_OBJECT_OFFER:
            return OnOffer(sessionID, message, WB_CMD_OBJECT_REQUEST);
        case WB_CMD_EXT_OFFER:
            return OnOffer(sessionID, message, WB_CMD_EXT_REQUEST);
        case WB_CMD_OBJECT_REQUEST:
            return OnRequest(sessionID, message, WB_CMD_OBJECT_DATA);
        case WB_CMD_EXT_REQUEST:
            return OnRequest(sessionID, message, WB_CMD_EXT_DATA);
        case WB_CMD_OBJECT_DATA:
            return OnData(sessionID, message, WB_CMD_OBJECT_OFFER);
        case WB_CMD_EXT_DATA:
            return OnData(sessionID, message, WB_CMD_EXT_OFFER);
        case WB_CMD_OBJECT_DELETE:
            return OnDelete(sessionID, message);
        case WB_CMD_OBJECT_MOVE:
            return OnMove(sessionID, message);
        case WB_CMD_REPLACE_ALL:
            return OnReplaceAll(sessionID, message);
        case WB_CMD_OBJECT_LIST:
            return OnList(sessionID, message);
        case WB_CMD_STATE:
            return OnState(sessionID, message);
        default:  // clear
            m_objects.Clear();
            return Relay(sessionID, message.data, message.length);
    }
}

void CWBCentre::OnOffer(uint32_t sessionID, const CMessage& message, uint32_t request) {
    if (!m_objects.Has(message.ObjectID())) SendTo(sessionID, request, message.ObjectID(), message.Tag());
}

void CWBCentre::OnRequest(uint32_t sessionID, const CMessage& message, uint32_t data) {
    if (CDataBuffer* stored = m_objects.Read(message.ObjectID(), data))
        m_owner.SendWBData(sessionID, stored->GetData(), stored->GetLen());
}

void CWBCentre::OnData(uint32_t sessionID, const CMessage& message, uint32_t offer) {
    if (m_objects.Has(message.ObjectID()) || !Store(sessionID, message)) return;
    char announced[wb::kHeaderLen];
    wb::PutHeader(announced, offer, message.ObjectID(), message.Tag());
    Relay(sessionID, announced, sizeof announced);
}

void CWBCentre::OnDelete(uint32_t sessionID, const CMessage& message) {
    wb::ForEachWord(message.Payload(), message.PayloadLength(),
                    [this](uint32_t objectID) LUMO_NO_THREAD_SAFETY_ANALYSIS { m_objects.Erase(objectID); });
    Relay(sessionID, message.data, message.length);
}

void CWBCentre::OnMove(uint32_t sessionID, const CMessage& message) {
    if (message.PayloadLength() >= kMoveHead) {
        const uint32_t dx = wb::Word(message.Payload());
        const uint32_t dy = wb::Word(message.Payload() + 4);
        wb::ForEachWord(message.Payload() + kMoveHead, message.PayloadLength() - kMoveHead,
                        [&](uint32_t objectID) LUMO_NO_THREAD_SAFETY_ANALYSIS { m_objects.Move(objectID, dx, dy); });
    }
    Relay(sessionID, message.data, message.length);
}

// What the others get is no message: so it has always been.
void CWBCentre::OnReplaceAll(uint32_t sessionID, const CMessage& message) {
    m_objects.Clear();
    Store(sessionID, message);
    Relay(sessionID, message.Payload(), message.PayloadLength());
}

// The header's own words are asked for too: so it has always been.
void CWBCentre::OnList(uint32_t sessionID, const CMessage& message) {
    size_t asked = 0;
    const int most = static_cast<int>(4 * kMaxAsked);
    wb::ForEachWord(message.data, std::min(message.length, most),
                    [&](uint32_t objectID) LUMO_NO_THREAD_SAFETY_ANALYSIS {
                        if (m_objects.Has(objectID) || ++asked > kMaxAsked) return;
                        SendTo(sessionID, WB_CMD_OBJECT_REQUEST, objectID, 0);
                    });
}

void CWBCentre::OnState(uint32_t sessionID, const CMessage& message) {
    m_bStateFlag = message.PayloadLength() > 0 && *message.Payload() != 0;
    if (m_bStateFlag) MarkHeld(m_owner);
    Relay(sessionID, message.data, message.length);
}

bool CWBCentre::Store(uint32_t sessionID, const CMessage& message) {
    const CDrawer drawer = FindDrawer(m_owner, sessionID);
    const bool stored = m_objects.Store(message, drawer.ip);
    if (stored) MarkHeld(m_owner);
    if (!stored && drawer.peer) {
        char taken[wb::kHeaderLen + 4];
        wb::PutHeader(taken, WB_CMD_OBJECT_DELETE, message.ObjectID(), message.Tag());
        wb::PutWord(taken + wb::kHeaderLen, message.ObjectID());
        m_owner.SendWBData(sessionID, taken, sizeof taken);
    }
    if (!stored && !m_bFull) LUMO_LOG_ERROR("CWBDataTransCenter::ProcessWBData. The whiteboard is full.");
    m_bFull = !stored;
    return stored;
}

void CWBCentre::Join(uint32_t sessionID) {
    CAutoLock lock(&m_csObjects);
    {
        CAutoLock joins(&m_csSessionIDs);
        if (std::find(m_listSessionIDs.begin(), m_listSessionIDs.end(), sessionID) == m_listSessionIDs.end())
            m_listSessionIDs.push_back(sessionID);
    }
    if (!m_objects.IsEmpty()) SendList(sessionID);
    if (!m_bStateFlag) return;
    char state[wb::kHeaderLen + 1] = {};
    wb::PutHeader(state, WB_CMD_STATE, 0, 0);
    state[wb::kHeaderLen] = 1;
    m_owner.SendWBData(sessionID, state, sizeof state);
}

void CWBCentre::SendList(uint32_t sessionID) {
    const size_t length = wb::kHeaderLen + 4 * m_objects.Count();
    const std::unique_ptr<char[]> list(new (std::nothrow) char[length]);
    if (!list) return;
    wb::PutHeader(list.get(), WB_CMD_OBJECT_LIST, 0, 0);
    char* at = list.get() + wb::kHeaderLen;
    m_objects.ForEachID([&at](uint32_t objectID) {
        wb::PutWord(at, objectID);
        at += 4;
    });
    m_owner.SendWBData(sessionID, list.get(), static_cast<int>(length));
}

void CWBCentre::Leave(uint32_t sessionID) {
    CAutoLock joins(&m_csSessionIDs);
    const auto it = std::find(m_listSessionIDs.begin(), m_listSessionIDs.end(), sessionID);
    if (it != m_listSessionIDs.end()) m_listSessionIDs.erase(it);
}

void CWBCentre::SendTo(uint32_t sessionID, uint32_t command, uint32_t objectID, uint32_t tag) {
    char message[wb::kHeaderLen];
    wb::PutHeader(message, command, objectID, tag);
    m_owner.SendWBData(sessionID, message, sizeof message);
}

void CWBCentre::Relay(uint32_t origin, const char* data, int length) {
    CUdpBatch batch;
    CAutoLock joins(&m_csSessionIDs);
    for (const uint32_t sessionID : m_listSessionIDs)
        if (sessionID != origin) m_owner.SendWBData(sessionID, data, length);
}
