#include "tools/lumo/board/people.h"

#include "tools/lumo/board/little_endian.h"
#include "tools/lumo/transfer/file_name.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace lumo {
namespace {

/// Far enough apart to be told by the eye, and dark enough on white.
constexpr std::array<uint32_t, 10> kColours = {0xd6336c, 0x1971c2, 0x2f9e44, 0xe8590c, 0x7048e8,
                                               0x0c8599, 0xc2255c, 0x5c940d, 0x9c36b5, 0xa8691c};

}  // namespace

uint32_t CPeople::FreeColour(uint32_t self) const {
    for (size_t i = 0; i < kColours.size(); ++i) {
        const uint32_t colour = kColours.at((self + i) % kColours.size());
        const auto has = [colour](const auto& entry) { return entry.second.colour == colour; };
        if (std::none_of(m_people.begin(), m_people.end(), has)) return colour;
    }
    return kColours.at(self % kColours.size());
}

std::string CPeople::MakeHello(const Person& person) {
    std::string payload;
    AddWord(payload, person.colour);
    return payload + person.name;
}

std::string CPeople::CleanName(std::string_view name) {
    size_t end = name.size() < kMaxName ? name.size() : kMaxName;
    while (end > 0 && end < name.size() && (static_cast<uint8_t>(name[end]) & 0xc0U) == 0x80) --end;  // whole letters
    std::string clean = Printable(std::string(name.substr(0, end)));
    const size_t first = clean.find_first_not_of(' ');
    return first == std::string::npos ? "Somebody" : clean.substr(first);
}

CPeople::Change CPeople::OnHello(uint32_t id, std::string_view payload, uint64_t now) {
    if (payload.size() < 4) return Change::None;
    const Person person{CleanName(payload.substr(4)), WordAt(payload, 0) & 0xffffff, now};
    const auto found = m_people.find(id);
    if (found == m_people.end()) {
        if (m_people.size() >= kMaxPeople) return Change::None;
        m_people.emplace(id, person);
        return Change::New;
    }
    const bool same = found->second.name == person.name && found->second.colour == person.colour;
    found->second = person;
    return same ? Change::None : Change::Seen;
}

bool CPeople::Expire(uint64_t now) {
    bool gone = false;
    for (auto it = m_people.begin(); it != m_people.end();) {
        const bool silent = now > it->second.heardMs + kForgetMs;
        it = silent ? m_people.erase(it) : std::next(it);
        gone = gone || silent;
    }
    return gone;
}

}  // namespace lumo
