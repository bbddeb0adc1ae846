// Objects by their ID, under one lock.
#pragma once

#include "link/tables/id_walk.h"
#include "platform/lumobase/crit_sec.h"
#include "platform/lumobase/endings.h"
#include "platform/lumobase/undo.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <utility>

/// An ordered map ID -> T*, not owning, with its lock. Two optional indices find what belongs to a channel, and what a
/// far side that asks twice already has: (channel key, the far side's own ID). `owner` is the channel object, where two
/// may have one key. Every operation takes the lock for itself; functions given to it run under the lock.
template <class T, class TID = uint32_t>
class CIDTable {
public:
    explicit CIDTable(int rank) : m_cs(rank) {}

    /// Inserts or overwrites. Without memory it throws, and the object is not in the table.
    void Put(TID id, T* object) {
        CAutoLock lock(&m_cs);
        PutAt(id, {object, {}, {}, nullptr});
    }
    /// The same, found by its channel too.
    void Put(TID id, T* object, uint64_t channel, const void* owner = nullptr) {
        CAutoLock lock(&m_cs);
        PutAt(id, {object, channel, {}, owner});
    }
    /// The same, found by (channel, remote) too.
    void Put(TID id, T* object, uint64_t channel, uint32_t remoteID, const void* owner = nullptr) {
        CAutoLock lock(&m_cs);
        PutAt(id, {object, channel, remoteID, owner});
    }
    /// Removes the entry and gives what it held; null when there was none.
    T* Take(TID id) {
        CAutoLock lock(&m_cs);
        return TakeAt(m_map.find(id));
    }
    /// Removes it only if `wanted` agrees.
    template <class Predicate>
    T* TakeIf(TID id, Predicate wanted) {
        CAutoLock lock(&m_cs);
        auto it = m_map.find(id);
        return it != m_map.end() && wanted(*it->second.object) ? TakeAt(it) : nullptr;
    }
    /// Takes the object out if `wanted` agrees and ends it outside the lock; false when there is none.
    template <class Predicate, class End>
    bool EndIf(TID id, Predicate wanted, End end) {
        return EndOne(end, [&]() LUMO_NO_THREAD_SAFETY_ANALYSIS {  // called under the lock
            auto it = m_map.find(id);
            return it != m_map.end() && wanted(*it->second.object) ? it : m_map.end();
        });
    }
    /// The same for every object, in ascending order, that `wanted` agrees to.
    template <class Predicate, class End>
    void Sweep(Predicate wanted, End end) {
        const auto first = [&]() LUMO_NO_THREAD_SAFETY_ANALYSIS {  // called under the lock
            auto it = m_map.begin();
            while (it != m_map.end() && !wanted(*it->second.object)) ++it;
            return it;
        };
        while (EndOne(end, first)) {}
    }
    /// The same for all of a channel, without a look at the others. None is still being ended when it returns, on
    /// whatever thread that began: the channel may go.
    template <class End>
    void SweepChannel(uint64_t channel, End end) {
        SweepOwned(channel, nullptr, end);
    }
    /// The same for what that channel object owns; null: for all.
    template <class End>
    void SweepOwned(uint64_t channel, const void* owner, End end) {
        while (EndOne(end, [&]() LUMO_NO_THREAD_SAFETY_ANALYSIS { return FirstOf(channel, owner); })) {}
        m_endings.WaitForOthers(channel);
    }
    /// An object, or null, and the lock of its table for as long as this lives.
    class CLocked {
    public:
        CLocked(CIDTable& table, TID id) LUMO_NO_THREAD_SAFETY_ANALYSIS : m_cs(table.m_cs) {
            m_cs.Lock();
            const auto it = table.m_map.find(id);
            if (it != table.m_map.end()) m_pObject = it->second.object;
        }
        ~CLocked() LUMO_NO_THREAD_SAFETY_ANALYSIS { m_cs.Unlock(); }
        CLocked(const CLocked&) = delete;
        CLocked& operator=(const CLocked&) = delete;

        explicit operator bool() const { return m_pObject != nullptr; }
        T* operator->() const { return m_pObject; }
        T& operator*() const { return *m_pObject; }

    private:
        CCritSec& m_cs;
        T* m_pObject = nullptr;
    };
    CLocked Lock(TID id) { return CLocked(*this, id); }
    /// Calls `use` with the object under the lock; false when there is none.
    template <class Use>
    bool With(TID id, Use use) {
        const CLocked object(*this, id);
        if (object) use(*object);
        return static_cast<bool>(object);
    }
    template <class Use>
    bool WithPair(uint64_t channel, uint32_t remoteID, Use use) {
        CAutoLock lock(&m_cs);
        auto it = m_pairs.find({channel, remoteID});
        if (it == m_pairs.end()) return false;
        use(*it->second);
        return true;
    }
    /// Every object in ascending ID order, for a range-based loop, and the lock of their table meanwhile.
    class CEach {
    public:
        explicit CEach(CIDTable& table) LUMO_NO_THREAD_SAFETY_ANALYSIS : m_table(table) { m_table.m_cs.Lock(); }
        ~CEach() LUMO_NO_THREAD_SAFETY_ANALYSIS { m_table.m_cs.Unlock(); }
        CEach(const CEach&) = delete;
        CEach& operator=(const CEach&) = delete;

        struct CEnd {};
        class CIterator {
        public:
            explicit CIterator(CIDTable& table) : m_table(table) { ++*this; }
            T& operator*() const { return *m_pObject; }
            CIterator& operator++() LUMO_NO_THREAD_SAFETY_ANALYSIS {
                m_pObject = m_table.m_walk.Next(m_place, m_table.m_map, ObjectOf);
                return *this;
            }
            bool operator==(CEnd) const { return !m_pObject; }

        private:
            CIDTable& m_table;
            typename CIDWalk<T>::CPlace m_place;
            T* m_pObject = nullptr;
        };
        CIterator begin() const { return CIterator(m_table); }
        CEnd end() const { return {}; }

    private:
        CIDTable& m_table;
    };
    CEach Each() { return CEach(*this); }
    size_t Size() {
        CAutoLock lock(&m_cs);
        return m_map.size();
    }

private:
    struct Entry {
        T* object;
        std::optional<uint64_t> channel;
        std::optional<uint32_t> remoteID;
        const void* owner;
    };
    using Map = std::map<TID, Entry>;
    static T* ObjectOf(const Entry& entry) { return entry.object; }
    void PutAt(TID id, const Entry& entry) LUMO_REQUIRES(m_cs) {
        TakeAt(m_map.find(id));
        m_walk.Reserve(m_map.size() + 1);
        m_walk.Changed();
        m_map[id] = entry;
        CUndo undo([&]() LUMO_NO_THREAD_SAFETY_ANALYSIS { TakeAt(m_map.find(id)); });
        if (entry.channel) m_ofChannels.insert({*entry.channel, id});
        if (entry.remoteID) m_pairs[{*entry.channel, *entry.remoteID}] = entry.object;
        undo.Keep();
    }
    T* TakeAt(typename Map::iterator it) LUMO_REQUIRES(m_cs) {
        if (it == m_map.end()) return nullptr;
        const Entry entry = it->second;
        if (entry.channel) m_ofChannels.erase({*entry.channel, it->first});
        auto pair = entry.remoteID ? m_pairs.find({*entry.channel, *entry.remoteID}) : m_pairs.end();
        if (pair != m_pairs.end() && pair->second == entry.object) m_pairs.erase(pair);
        m_map.erase(it);
        m_walk.Changed();
        return entry.object;
    }
    typename Map::iterator FirstOf(uint64_t channel, const void* owner) LUMO_REQUIRES(m_cs) {
        auto key = m_ofChannels.lower_bound({channel, 0});
        for (; key != m_ofChannels.end() && key->first == channel; ++key) {
            const auto it = m_map.find(key->second);
            if (!owner || it->second.owner == owner) return it;
        }
        return m_map.end();
    }
    template <class End, class Find>
    bool EndOne(End& end, Find find) {
        T* object = nullptr;
        std::optional<uint64_t> channel;
        {
            CAutoLock lock(&m_cs);
            const auto it = find();
            if (it == m_map.end()) return false;
            channel = it->second.channel;
            if (channel) m_endings.Begin(*channel);
            object = TakeAt(it);
        }
        std::optional<CEndingScope> scope;
        if (channel) scope.emplace(m_endings, *channel);
        end(object);
        return true;
    }

    CCritSec m_cs;
    CEndings m_endings;
    Map m_map LUMO_GUARDED_BY(m_cs);
    CIDWalk<T> m_walk LUMO_GUARDED_BY(m_cs);
    std::map<std::pair<uint64_t, uint32_t>, T*> m_pairs
        LUMO_GUARDED_BY(m_cs);                                              // ordered: the keys come from the far side
    std::set<std::pair<uint64_t, TID>> m_ofChannels LUMO_GUARDED_BY(m_cs);  // (channel, ID)
};
