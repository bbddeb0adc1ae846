// How the fuzz target of a medium whose datagrams say by themselves what was done learns what it has reached.
#pragma once

#include "link/media.h"
#include "support/fake_net.h"
#include "support/reach.h"
#include "support/session_wire.h"
#include "support/test_manager.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

/// The receiver in the table that is not the known one; IDs as they travel.
template <class TTables>
std::string OtherReceiverID(TTables& tables, const std::string& known) {
    std::string other;
    for (auto& one : tables.receivers.Each()) {
        const std::string id = session_wire::U32(one.ReceiverID());
        if (id != known) other = id;
    }
    return other;
}

/// A session packet behind the longest envelope.
inline constexpr size_t kLongestSessionDatagram = 10 + 12 + 1040;

/// A medium's commands, and what it means when one is sent, or delivered and taken as a sign of life.
struct JudgeProfile {
    using Meaning = std::pair<char, const char*>;

    char kind;
    size_t longest;  ///< datagram that may leave
    char connectAck;
    std::vector<Meaning> sent;
    std::vector<Meaning> answers;
};

/// No datagram that leaves is longer than `longest`.
inline JudgeProfile ProfileOf(const CMediumRow& row, size_t longest) {
    const auto code = [](uint8_t one) { return static_cast<char>(one); };
    const bool stops = row.Stops();
    JudgeProfile profile{
        static_cast<char>(row.kind),
        longest,
        code(row.sink.connectAck),
        {{code(row.sink.frame), row.session ? "packet to a sink" : "frame to a sink"},
         {code(row.sink.keepAliveAck), stops ? "sink started" : "sink kept"},
         {code(row.source.frame), row.session ? "packet to a server" : "frame to a server"},
         {code(row.source.keepAliveAck), stops ? "sender started" : "sender kept"}},
        {{code(row.sink.keepAliveAck), stops ? "receiver's start answered" : "receiver's keep-alive answered"}}};
    if (row.session) profile.sent.emplace_back(code(row.sink.frameAck), "packet answered");
    if (!stops) return profile;
    profile.sent.emplace_back(code(row.sink.keepAlive), "receiver told start");
    profile.sent.emplace_back(code(row.sink.stopAck), "sink stopped");
    profile.sent.emplace_back(code(row.source.stopAck), "sender stopped");
    profile.answers.emplace_back(code(row.sink.stopAck), "receiver's stop answered");
    return profile;
}

/// `TReceivers` are the classes of receivers that datagrams reach.
template <class... TReceivers>
class CDatagramJudge {
public:
    CDatagramJudge(CReach& reach, JudgeProfile profile) : m_reach(reach), m_profile(std::move(profile)) {}

    /// What leaves says what was done.
    void OnSent(const std::vector<CSentDatagram>& sent, bool newSink) const {
        for (const CSentDatagram& one : sent) {
            if (one.bytes.size() > m_profile.longest || one.bytes.size() < 6 || one.bytes[0] != m_profile.kind)
                std::abort();
            if (one.bytes[1] == m_profile.connectAck) m_reach.Hit(newSink ? "sink made" : "sink acknowledged again");
            HitMeaning(m_profile.sent, one.bytes[1]);
        }
    }
    /// Delivers one datagram, its kind and command at least, and judges what it did.
    template <class TTables>
    void Deliver(CTestHost& host, TTables& tables, const std::string& datagram) const {
        const uint64_t heard = Heard(tables);
        const size_t sinks = tables.sinks.Size();
        host.Deliver(datagram);
        const size_t after = tables.sinks.Size();
        if (after < sinks) m_reach.Hit("sink gone");
        const auto sent = host.TakeSent();
        OnSent(sent, after > sinks);
        if (Heard(tables) != heard)
            HitMeaning(m_profile.answers, datagram[1]);
        else if (sent.empty() && after == sinks)
            m_reach.Hit("ignored");
    }

private:
    void HitMeaning(const std::vector<JudgeProfile::Meaning>& meanings, char command) const {
        for (const auto& [one, reached] : meanings)
            if (one == command) m_reach.Hit(reached);
    }
    /// The last sign of life of every receiver, added up: an answer changes nothing else.
    template <class TTables>
    static uint64_t Heard(TTables& tables) {
        uint64_t heard = 0;
        const auto add = [&](auto* receiver) {
            if (receiver) heard += receiver->LastHeard();
        };
        for (auto& receiver : tables.receivers.Each()) (add(dynamic_cast<TReceivers*>(&receiver)), ...);
        return heard;
    }

    CReach& m_reach;
    const JudgeProfile m_profile;
};
