#include "link/tables/object_id.h"

#include "link/lock_order.h"
#include "platform/lumobase/clock.h"
#include "platform/lumobase/crit_sec.h"

#include <unordered_set>

namespace {

class CLiveIDs {
public:
    uint32_t Take() {
        CAutoLock lock(&m_cs);
        for (;;) {
            const auto id = static_cast<uint32_t>(Lumo_Base::GenerateSSRC());
            if (id != 0 && m_ids.insert(id).second) return id;
        }
    }
    void Return(uint32_t id) {
        CAutoLock lock(&m_cs);
        m_ids.erase(id);
    }

private:
    CCritSec m_cs{lock_order::kLeaf};
    std::unordered_set<uint32_t> m_ids LUMO_GUARDED_BY(m_cs);
};

// Never destroyed: objects of static storage may still hold IDs at exit.
CLiveIDs& LiveIDs() {
    static auto* ids = new CLiveIDs;
    return *ids;
}

}  // namespace

CObjectID::CObjectID() : m_ulID(LiveIDs().Take()) {}

CObjectID::~CObjectID() { LiveIDs().Return(m_ulID); }
