// The inside of a whiteboard data transfer centre.
#pragma once

#include "link/lock_order.h"
#include "platform/lumobase/crit_sec.h"
#include "whiteboard/wb_message.h"
#include "whiteboard/wb_objects.h"

#include <cstdint>
#include <vector>

/// Answers and relays through the centre's own SendWBData. Each message that concerns objects is one step against the
/// others, its sends included, so that every session hears of all changes in the order in which they were made.
class CWBCentre {
public:
    explicit CWBCentre(CWBDataTransCenter& owner) : m_owner(owner) {}

    void Process(uint32_t sessionID, const char* data, int length);
    void Join(uint32_t sessionID);
    void Leave(uint32_t sessionID);

private:
    void ProcessObjects(uint32_t sessionID, const wb::CMessage& message) LUMO_REQUIRES(m_csObjects);
    void OnOffer(uint32_t sessionID, const wb::CMessage& message, uint32_t request) LUMO_REQUIRES(m_csObjects);
    void OnRequest(uint32_t sessionID, const wb::CMessage& message, uint32_t data) LUMO_REQUIRES(m_csObjects);
    void OnData(uint32_t sessionID, const wb::CMessage& message, uint32_t offer) LUMO_REQUIRES(m_csObjects);
    void OnDelete(uint32_t sessionID, const wb::CMessage& message) LUMO_REQUIRES(m_csObjects);
    void OnMove(uint32_t sessionID, const wb::CMessage& message) LUMO_REQUIRES(m_csObjects);
    void OnReplaceAll(uint32_t sessionID, const wb::CMessage& message) LUMO_REQUIRES(m_csObjects);
    void OnList(uint32_t sessionID, const wb::CMessage& message) LUMO_REQUIRES(m_csObjects);
    void OnState(uint32_t sessionID, const wb::CMessage& message) LUMO_REQUIRES(m_csObjects);

    /// An object that cannot be kept is deleted at the peer that drew it, too.
    bool Store(uint32_t sessionID, const wb::CMessage& message) LUMO_REQUIRES(m_csObjects);
    void SendList(uint32_t sessionID) LUMO_REQUIRES(m_csObjects);
    /// A message without a payload.
    void SendTo(uint32_t sessionID, uint32_t command, uint32_t objectID, uint32_t tag);
    void Relay(uint32_t origin, const char* data, int length);

    CWBDataTransCenter& m_owner;
    CCritSec m_csObjects{lock_order::kBoardObjects};
    CWBObjects m_objects LUMO_GUARDED_BY(m_csObjects);
    bool m_bStateFlag LUMO_GUARDED_BY(m_csObjects) = false;  // as last announced
    bool m_bFull LUMO_GUARDED_BY(m_csObjects) = false;       // and said so in the log
    CCritSec m_csSessionIDs{lock_order::kBoardJoins};
    std::vector<uint32_t> m_listSessionIDs LUMO_GUARDED_BY(m_csSessionIDs);  // in the order in which they joined
};
