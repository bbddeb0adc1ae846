#include "tools/lumo/net/server_watch.h"

#include <utility>

namespace lumo {
namespace {

const CMediumRow& RowOf(LinkMedium medium) {
    switch (medium) {
        case LinkMedium::Audio:
            return media::kAudio;
        case LinkMedium::Video:
            return media::kVideo;
        case LinkMedium::Desktop:
            return media::kDesktop;
        case LinkMedium::Board:
            return media::kWhiteboard;
        case LinkMedium::File:
            break;
    }
    return media::kFile;
}

}  // namespace

CServerWatch::CServerWatch(const RelayRoute& route, LinkMedium medium, Role role)
    : m_route(route), m_medium(medium), m_role(role) {}

CServerWatch::News CServerWatch::Poll(uint64_t now, bool served, bool taken) {
    m_bEverTaken = m_bEverTaken || taken;
    if (served) {
        const bool news = !m_bEverServed || m_trouble.fault != ServerFault::None;
        m_bEverServed = true;
        m_unservedMs.reset();
        m_check.reset();
        m_found = m_trouble = {};
        m_strTold.clear();
        return news ? News::Serving : News::None;
    }
    if (!m_unservedMs) {
        m_unservedMs = now;
        m_ullLookMs = now + kLookMs;
    }
    if (!m_check && now >= m_ullLookMs) m_check.emplace(m_route, RowOf(m_medium));
    if (m_check && m_check->Done()) {
        m_found = m_check->Result();
        m_check.reset();
        m_ullLookMs = now + kAgainMs;
    }
    const bool early = m_found.fault == ServerFault::Answers && now - *m_unservedMs < kAnswersMs;
    if (m_found.fault == ServerFault::None || early) return News::None;
    ServerTrouble trouble = InWords(false);
    if (trouble.Text() == m_trouble.Text()) return News::None;
    m_trouble = std::move(trouble);
    return News::Trouble;
}

const ServerTrouble& CServerWatch::Conclude() {
    if (!m_unservedMs) return m_trouble;
    if (m_found.fault == ServerFault::None && !m_check) m_check.emplace(m_route, RowOf(m_medium));
    if (m_check) m_found = m_check->Result();
    m_check.reset();
    m_trouble = InWords(true);
    if (m_strTold.empty() || m_strTold != m_found.problem) return m_trouble;
    m_trouble.problem = m_role == Role::Publisher ? Unserved(true) : "nothing has come";
    m_trouble.advice.clear();
    return m_trouble;
}

std::string CServerWatch::Praise() const {
    if (m_role == Role::Subscriber) return "";
    return "the server has taken " + std::string(m_medium == LinkMedium::File ? "the channel" : "the stream");
}

bool CServerWatch::IsComplaint() const {
    const bool answers = m_trouble.fault == ServerFault::Answers;
    return m_trouble.fault != ServerFault::None && (m_role == Role::Publisher || !answers);
}

std::string CServerWatch::Unserved(bool atTheEnd) const {
    const std::string what = m_medium == LinkMedium::File ? "the channel" : "the stream";
    if (m_bEverServed) return "the server has " + what + " no longer";
    return "the server has not taken " + what + (atTheEnd ? "" : " yet");
}

ServerTrouble CServerWatch::InWords(bool atTheEnd) const {
    ServerTrouble words = m_found;
    const bool answers = words.fault == ServerFault::Answers;
    const std::string channel = std::to_string(m_route.channel);
    if (m_role == Role::Publisher) {
        words.problem = Unserved(atTheEnd) + ": " + words.problem;
        if (answers)
            words.advice = "is the number " + channel + " in use" +
                           (m_bEverTaken ? "?" : ", or has the server no room for more channels?");
    } else if (answers && m_medium == LinkMedium::Board) {
        words.problem += " and does not let us onto board " + channel;
        words.advice = "has it room for more boards, and for more people on this one?";
    } else if (answers) {
        words.problem += ", but nothing comes of channel " + channel + (m_bEverServed ? " any more" : "");
        words.advice = m_bEverServed  ? "has the other side ended?"
                       : m_bEverTaken ? "has the other side begun, and is that its link?"
                                      : "has the other side begun, is that its link, and has the server room for more?";
    }
    return words;
}

}  // namespace lumo
