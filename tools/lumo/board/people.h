// Who is at the board, and where they point.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace lumo {

struct Person {
    std::string name;
    uint32_t colour = 0;  ///< 0xRRGGBB
    uint64_t heardMs = 0;
};

/// What others say of themselves, and no more than that. One thread, or its holder's lock.
class CPeople {
public:
    static constexpr size_t kMaxPeople = 200;
    static constexpr size_t kMaxName = 60;  // bytes
    static constexpr uint64_t kHelloMs = 2000;
    static constexpr uint64_t kHelloAtMostEveryMs = 1000;  ///< however many come
    static constexpr uint64_t kAnswerSpreadMs = 300;       ///< over which those at a board answer a newcomer
    static constexpr uint64_t kForgetMs = 7000;

    /// The payload of a greeting.
    static std::string MakeHello(const Person& person);
    /// A name as it may be shown: valid UTF-8 without control characters, not too long.
    static std::string CleanName(std::string_view name);

    enum class Change { None, Seen, New };
    /// Seen: known already, and perhaps renamed.
    Change OnHello(uint32_t id, std::string_view payload, uint64_t now);
    /// False when he was not there.
    bool Remove(uint32_t id) { return m_people.erase(id) != 0; }
    /// Whether anybody has been silent too long, and is gone.
    bool Expire(uint64_t now);
    /// A colour that none of the others has; which one depends on who asks. When all are taken, any.
    uint32_t FreeColour(uint32_t self) const;
    bool Has(uint32_t id) const { return m_people.count(id) != 0; }
    const std::map<uint32_t, Person>& All() const { return m_people; }

private:
    std::map<uint32_t, Person> m_people;
};

}  // namespace lumo
