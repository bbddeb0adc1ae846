// The drawn objects of one whiteboard.
#pragma once

#include "platform/lumobase/data_buffer.h"
#include "whiteboard/wb_message.h"

#include <cstddef>
#include <cstdint>
#include <map>

/// One stored object, as the message in which it came: its record stands behind the header.
struct WBObjectItem {
    CDataBuffer message;
    uint32_t owner = 0;  // the address that it came from
    uint32_t dx = 0;     // moves that the record has not seen yet
    uint32_t dy = 0;
};

/// In ascending order of their IDs, one each. Not synchronised.
class CWBObjects {
public:
    static constexpr size_t kMaxObjects = 100000;
    static constexpr uint64_t kMaxRecordBytes = 256ULL * 1024 * 1024;
    static constexpr uint64_t kItemBytes = 128;  // what an object costs beside its record

    CWBObjects() = default;
    ~CWBObjects() { Clear(); }
    CWBObjects(const CWBObjects&) = delete;
    CWBObjects& operator=(const CWBObjects&) = delete;

    bool IsEmpty() const { return m_mapObjects.empty(); }
    bool Has(uint32_t objectID) const { return m_mapObjects.count(objectID) != 0; }
    /// Keeps a copy of the message of that address (0: of this process). False when there is no room, or none for that
    /// address; not for an ID that is there.
    bool Store(const wb::CMessage& message, uint32_t owner = 0);
    void Erase(uint32_t objectID);
    void Clear();
    /// Costs the same however long the record is: it is changed when it is next read.
    void Move(uint32_t objectID, uint32_t dx, uint32_t dy);
    /// The whole message of an object, under the given command; null when there is none. Valid until the next call.
    CDataBuffer* Read(uint32_t objectID, uint32_t command);
    template <class Use>
    void ForEachID(Use use) const {
        for (const auto& entry : m_mapObjects) use(entry.first);
    }
    size_t Count() const { return m_mapObjects.size(); }

private:
    using Map = std::map<uint32_t, WBObjectItem>;
    void EraseAt(Map::iterator it);

    Map m_mapObjects;
    uint64_t m_nRecordBytes = 0;
};
