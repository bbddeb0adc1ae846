#include "tools/lumo/board/board_session.h"

#include <algorithm>
#include <utility>

namespace lumo {

namespace {

constexpr size_t kHeardCost = 96;  // bytes that even an empty one occupies
constexpr size_t kMostListed = kMessageHead + 4 * CBoardModel::kMaxObjects;

size_t CostOf(const HeardAtSeat& heard) { return heard.bytes.size() + kHeardCost; }

}  // namespace

void CBoardSession::SendWBSessionData(const char* data, int len) {
    if (data && len > 0) Push({HeardAtSeat::Kind::Message, std::string(data, static_cast<size_t>(len)), 0});
}

void CBoardSession::OnFarList(const char* message, int length) {
    const size_t kept = std::min(static_cast<size_t>(length), kMostListed);
    Push({HeardAtSeat::Kind::FarList, std::string(message, kept), 0});
}

void CBoardSession::OnFarData(const char* message, int length) {
    Push({HeardAtSeat::Kind::FarData, std::string(message, static_cast<size_t>(length)), 0});
}

void CBoardSession::OnFarEcho(uint32_t number) { Push({HeardAtSeat::Kind::FarEcho, {}, number}); }

void CBoardSession::Push(HeardAtSeat heard) {
    bool first = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const size_t cost = CostOf(heard);
        m_bOverflow = m_bOverflow || cost > kMaxBytes - m_nBytes;
        first = m_heard.empty();
        if (!m_bOverflow) {
            m_heard.push_back(std::move(heard));
            m_nBytes += cost;
        }
    }
    if (first) m_wake.Wake();
}

void CBoardSession::Say(const std::string& message) {
    OnWBSessionData(message.data(), static_cast<int>(message.size()));
}

bool CBoardSession::Pop(HeardAtSeat& heard) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_heard.empty()) return false;
    heard = std::move(m_heard.front());
    m_heard.pop_front();
    m_nBytes -= CostOf(heard);
    return true;
}

bool CBoardSession::TakeOverflow() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_bOverflow) return false;
    m_bOverflow = false;
    m_heard.clear();
    m_nBytes = 0;
    return true;
}

std::vector<uint32_t> CBoardSession::Rejoin() {
    LeaveWBChannel();
    DropMessages();
    JoinWBChannel();
    return TakeList();
}

void CBoardSession::DropMessages() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::erase_if(m_heard, [this](const HeardAtSeat& heard) {
        if (heard.kind != HeardAtSeat::Kind::Message) return false;
        m_nBytes -= CostOf(heard);
        return true;
    });
}

// The channel lists what it holds before the joining returns, and says nothing of objects before that; others may have
// greeted.
std::vector<uint32_t> CBoardSession::TakeList() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto list = std::find_if(m_heard.begin(), m_heard.end(), [](const HeardAtSeat& heard) {
        return heard.kind == HeardAtSeat::Kind::Message &&
               WordAt(heard.bytes, 0) == static_cast<uint32_t>(BoardCommand::List);
    });
    if (list == m_heard.end()) return {};
    std::vector<uint32_t> words = WordsFrom(list->bytes, kMessageHead);
    m_nBytes -= CostOf(*list);
    m_heard.erase(list);
    return words;
}

}  // namespace lumo
