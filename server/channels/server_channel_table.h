// The channels of one medium by their key.
#pragma once

#include "link/channel_key.h"
#include "link/lock_order.h"
#include "platform/lumobase/crit_sec.h"

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

class CServerChannel;

/// Changes only under the gate; may be read on any thread.
class CServerChannelTable {
public:
    std::shared_ptr<CServerChannel> Find(ChannelKey key);
    void Add(ChannelKey key, std::shared_ptr<CServerChannel> channel);
    void Remove(ChannelKey key);
    size_t Size();
    std::vector<std::shared_ptr<CServerChannel>> All();

private:
    CCritSec m_cs{lock_order::kLeaf};
    std::map<ChannelKey, std::shared_ptr<CServerChannel>> m_channels LUMO_GUARDED_BY(m_cs);
};
