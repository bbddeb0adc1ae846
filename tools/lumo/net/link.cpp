#include "tools/lumo/net/link.h"

#include <utility>

namespace lumo {

CLink::CLink(CInbox& inbox, const LinkTimes& times) : m_inbox(inbox), m_times(times), m_policy(times) {}

CLink::~CLink() = default;

namespace {
constexpr uint64_t kAnswersMs = 500;  // by then all answers to a claim are in; what comes later is for who has it
constexpr uint64_t kListenMs = 100;
}  // namespace

bool CLink::Poll(uint64_t now) {
    if (m_bClosed) return false;
    const bool accepted = m_inbox.TakeAccepted() && m_policy.IsUp();
    if (accepted) {
        m_policy.OnAccepted(now);
        m_bEverTaken = true;
        if (LivesBySigns()) m_signs = Signs();
        m_bSpokenTo = false;
        m_answered.reset();
        m_ullSpokenMs = now + kAnswersMs;
    }
    LookWhetherSpokenTo(now);
    const bool news = m_policy.IsUp() && !m_bNewsPolled && HasNews();
    if (m_policy.IsUp() && !m_bLost && (news || now - m_ullPolledMs >= kPollMs)) {
        m_bNewsPolled = m_bNewsPolled || news;
        m_ullPolledMs = now;
        m_bLost = IsDisconnected();
        LookForLife(now);
    }
    switch (m_policy.Poll(now, m_bLost)) {
        case LinkAction::None:
            break;
        case LinkAction::Create:
            m_ullPolledMs = now;
            m_bLost = !Create();
            m_bNewsPolled = false;
            ++m_nMade;
            break;
        case LinkAction::Release:
            Release();
            m_inbox.TakeAccepted();
            return false;
    }
    return accepted;
}

void CLink::LookForLife(uint64_t now) {
    if (!IsTaken() || !LivesBySigns()) return;
    const LinkSigns before = std::exchange(m_signs, Signs());
    if (before.life != m_signs.life) OnSignOfLife(now);
}

void CLink::LookWhetherSpokenTo(uint64_t now) {
    if (!IsTaken() || m_bSpokenTo || !IsClaim() || now < m_ullSpokenMs) return;
    const uint64_t life = Signs().life;
    if (!m_answered) m_answered = life;
    m_bSpokenTo = life != *m_answered;
    m_ullSpokenMs = now + kListenMs;
}

void CLink::Suspend() {
    if (m_bClosed) return;
    Release();
    m_inbox.TakeAccepted();  // one of the released connection means nothing any more
    m_policy = CLinkPolicy(m_times);
    m_bLost = false;
}

void CLink::Close() {
    if (m_bClosed) return;
    m_bClosed = true;
    Release();
}

}  // namespace lumo
