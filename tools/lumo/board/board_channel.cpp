#include "tools/lumo/board/board_channel.h"

#include "tools/lumo/board/message.h"
#include "tools/lumo/net/loop.h"

namespace lumo {

CBoardChannel::CBoardChannel(uint32_t channel)
    : CWBChannel(channel), m_ulProbe(static_cast<uint32_t>(RandomID() >> 32) | 1U) {}

bool CBoardChannel::Probe(uint32_t number, bool home) {
    m_bHome.store(home, std::memory_order_relaxed);
    return SayToFarSide(MakeMessage(home ? BoardCommand::HomeAsk : BoardCommand::Offer, m_ulProbe, number));
}

bool CBoardChannel::SayToFarSide(const std::string& message) {
    const unsigned long client = m_ulClient.load(std::memory_order_relaxed);
    if (client == 0) return false;
    SendWBData(client, message.data(), static_cast<int>(message.size()));
    return true;
}

void CBoardChannel::HearFromFarSide(const std::string& message) {
    const unsigned long client = m_ulClient.load(std::memory_order_relaxed);
    if (client != 0) CWBChannel::OnWBChannelData(client, message.data(), static_cast<int>(message.size()));
}

void CBoardChannel::Fetch(uint32_t id) {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_fetched.insert(id);
    }
    SayToFarSide(MakeMessage(BoardCommand::Request, id, 0));
}

bool CBoardChannel::IsFetched(uint32_t id) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_fetched.erase(id) != 0;
}

void CBoardChannel::ForgetFetched(const std::vector<uint32_t>& ids) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const uint32_t id : ids) m_fetched.erase(id);
}

void CBoardChannel::AddWBSession(CWBSession* session) {
    if (dynamic_cast<IWBSessionClient*>(session)) {
        const unsigned long client = session->GetWBSessionID();
        const bool other = m_ulClient.exchange(client, std::memory_order_relaxed) != client;
        if (other && m_pObserver) m_pObserver->OnFarBegin();
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (other) m_fetched.clear();
    }
    CWBChannel::AddWBSession(session);
}

void CBoardChannel::RemoveWBSession(CWBSession* session) {
    CWBChannel::RemoveWBSession(session);
    unsigned long client = session ? session->GetWBSessionID() : 0;
    m_ulClient.compare_exchange_strong(client, 0, std::memory_order_relaxed);
}

void CBoardChannel::OnWBChannelData(unsigned long sessionID, const char* data, int len) {
    BoardMessage message;
    if (m_pObserver && sessionID == m_ulClient.load(std::memory_order_relaxed) && data && len > 0 &&
        ParseMessage({data, static_cast<size_t>(len)}, message)) {
        const bool home = m_bHome.load(std::memory_order_relaxed);
        const BoardCommand echo = home ? BoardCommand::HomeAnswer : BoardCommand::Request;
        if (message.command == echo && message.object == m_ulProbe) return m_pObserver->OnFarEcho(message.tag);
        if (message.command == BoardCommand::List) m_pObserver->OnFarList(data, len);
        if (message.command == BoardCommand::Offer) m_pObserver->OnFarOffer(message.object);
        if (message.command == BoardCommand::Delete) ForgetFetched(WordsFrom(message.payload, 0));
        if (message.command == BoardCommand::Data && IsFetched(message.object))
            return m_pObserver->OnFarData(data, len);
    }
    CWBChannel::OnWBChannelData(sessionID, data, len);
}

}  // namespace lumo
