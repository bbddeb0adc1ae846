// What tells one life of a board from another.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace lumo {

/// A board on which something was drawn keeps a hidden object, whose random number is that of the board's life and
/// whose record counts how often it was cleared. A server that begins anew has none. Whoever comes back to a board that
/// has the life it had knows that what is gone was deleted; another life says nothing of that. Those who come to a new
/// server at once may each begin a life: then all of them count. Whoever copies a board takes its objects in the order
/// of their numbers, and lives have the greatest: who has got the life has got all that was there before. One thread,
/// or its holder's lock.
class CBoardLife {
public:
    static constexpr uint32_t kType = 0x4c4c;             ///< of its record; nothing draws it or moves it
    static constexpr uint32_t kFirstNumber = 0xff000000;  ///< what is drawn has smaller numbers
    static constexpr size_t kMostLives = 200;
    using Lives = std::map<uint32_t, uint32_t>;  ///< numbers, and how often cleared

    static bool IsLife(uint32_t id, std::string_view record);
    static std::string MakeRecord(uint32_t clearings);

    /// A life has come.
    void Add(uint32_t id, std::string_view record);
    /// It is there no more.
    void Remove(uint32_t id);
    /// Of all lives that are there only these are left.
    void Keep(const std::set<uint32_t>& ids);
    /// Somebody has deleted everything, this too.
    void OnCleared();
    bool Has(uint32_t id) const { return m_here.count(id) != 0; }
    bool IsNone() const { return m_here.empty(); }
    /// The board had one, in this connection.
    bool IsLost() const { return m_here.empty() && !m_last.empty(); }
    const Lives& Here() const { return m_here; }
    /// The lives that the board had last, in this connection; else a new one. They are there from now on.
    const Lives& Begin(uint32_t random);
    /// It was cleared once more.
    const Lives& CountClearing();

    /// Whether the board has a life that it had when we left it.
    bool IsKnown() const;
    bool IsKnown(const std::vector<uint32_t>& listed) const;
    /// Whether the other board turned out to have one. If not, those that we know are over.
    void Settle(bool known) {
        if (!known) m_known.clear();
    }
    /// The connection ends. `settled`: what is on our board is what the other board had.
    void Leave(bool settled);
    /// What is here has no life of another board any more.
    void Forget();

private:
    Lives m_here;
    Lives m_last;  // those that went last, while none came
    std::set<uint32_t> m_known;
};

}  // namespace lumo
