#include "tools/lumo/net/link.h"

#include <utility>

namespace lumo {

CLink::CLink(CInbox& inbox, const LinkTimes& times) : m_inbox(inbox), m_times(times), m_policy(times) {}

CLink::~CLink() = default;

bool CLink::Poll(uint64_t now) {
    if (m_bClosed) return false;
    const bool accepted = Step(now);
    if (IsTaken() || m_ullTakenMs == 0) m_ullTakenMs = now;
    m_bTurnedAway = now - m_ullTakenMs >= kAnswerMs;
    return accepted;
}

bool CLink::Step(uint64_t now) {
    const bool accepted = m_inbox.TakeAccepted() && m_policy.IsUp();
    if (accepted) {
        m_policy.OnAccepted(now);
        m_bEverTaken = true;
        if (LivesBySigns()) m_signs = Signs();
    }
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
