// The streams of one medium by their key.
#pragma once

#include "link/channel_key.h"
#include "link/lock_order.h"
#include "platform/lumobase/crit_sec.h"

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

class CStream;

/// Changes only under the gate; may be read on any thread.
class CStreamTable {
public:
    std::shared_ptr<CStream> Find(ChannelKey key);
    void Add(ChannelKey key, std::shared_ptr<CStream> stream);
    void Remove(ChannelKey key);
    size_t Size();
    std::vector<std::shared_ptr<CStream>> All();

private:
    CCritSec m_cs{lock_order::kLeaf};
    std::map<ChannelKey, std::shared_ptr<CStream>> m_streams LUMO_GUARDED_BY(m_cs);
};
