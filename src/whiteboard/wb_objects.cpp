#include "whiteboard/wb_objects.h"

#include "platform/lumobase/undo.h"
#include "whiteboard/wb_geometry.h"
#include "whiteboard/wb_memory.h"

bool CWBObjects::Store(const wb::CMessage& message, uint32_t owner) {
    const auto bytes = static_cast<uint64_t>(message.PayloadLength());
    if (Count() >= kMaxObjects || m_nRecordBytes + bytes > kMaxRecordBytes) return false;
    if (!CWBMemory::Get().Take(owner, bytes + kItemBytes)) return false;
    CUndo undo([&] {  // no memory: nothing of it is kept
        m_mapObjects.erase(message.ObjectID());
        CWBMemory::Get().Return(owner, bytes + kItemBytes);
    });
    WBObjectItem& item = m_mapObjects[message.ObjectID()];
    if (!item.message.StoreData(message.data, message.length)) return false;
    item.owner = owner;
    undo.Keep();
    m_nRecordBytes += bytes;
    return true;
}

void CWBObjects::Erase(uint32_t objectID) {
    const auto it = m_mapObjects.find(objectID);
    if (it != m_mapObjects.end()) EraseAt(it);
}

void CWBObjects::Clear() {
    while (!IsEmpty()) EraseAt(m_mapObjects.begin());
}

void CWBObjects::EraseAt(Map::iterator it) {
    const auto bytes = static_cast<uint64_t>(it->second.message.GetLen() - wb::kHeaderLen);
    m_nRecordBytes -= bytes;
    CWBMemory::Get().Return(it->second.owner, bytes + kItemBytes);
    m_mapObjects.erase(it);
}

void CWBObjects::Move(uint32_t objectID, uint32_t dx, uint32_t dy) {
    const auto it = m_mapObjects.find(objectID);
    if (it == m_mapObjects.end()) return;
    it->second.dx += dx;
    it->second.dy += dy;
}

CDataBuffer* CWBObjects::Read(uint32_t objectID, uint32_t command) {
    const auto it = m_mapObjects.find(objectID);
    if (it == m_mapObjects.end()) return nullptr;
    WBObjectItem& item = it->second;
    char* message = item.message.GetData();
    wb::PutWord(message, command);
    if (item.dx != 0 || item.dy != 0)
        wb::MoveRecord(message + wb::kHeaderLen, item.message.GetLen() - wb::kHeaderLen, item.dx, item.dy);
    item.dx = item.dy = 0;
    return &item.message;
}
