// One end of a reliable session on a path in virtual time, with the turns that its owner and the worker would give it.
#pragma once

#include "core/session.h"
#include "core/wide/wide_session.h"
#include "sim/path.h"

#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace sim {

class CWideEnd : public ISessionOwner {
public:
    static constexpr int kEnvelope = 10;

    /// Its envelopes are made of the mark.
    CWideEnd(CEvents& events, CPath& out, char mark = 'e') : m_events(events), m_out(out), m_mark(mark) {
        session.OpenSession();
        Tick();
    }
    virtual ~CWideEnd() { session.CloseSession(); }
    CWideEnd(const CWideEnd&) = delete;
    CWideEnd& operator=(const CWideEnd&) = delete;

    /// Frames of this length, as many as the session takes.
    void Fill(int frameLength, uint64_t frames = UINT64_MAX) {
        m_fillLength = frameLength;
        m_fillLeft = frames;
        Turn();
    }
    void Queue(std::string frame) {
        m_waiting.push_back(std::move(frame));
        Turn();
    }
    size_t Waiting() const { return m_waiting.size(); }
    bool IsIdle() { return m_waiting.empty() && m_fillLeft == 0 && session.IsSendIdle(); }
    /// The application takes so long for each frame; what arrives meanwhile waits, and the worker has its turns.
    void SetSlow(uint64_t microseconds) { m_slowUs = microseconds; }
    /// Of every ten milliseconds its threads sleep through the first so many microseconds; what comes meanwhile waits.
    void SetLate(uint64_t microseconds) { m_lateUs = microseconds; }
    void Hear(const std::string& datagram) {
        if (const uint64_t late = Asleep(); late > 0)
            return m_events.At(CEvents::Now() + late, [this, datagram] { Hear(datagram); });
        if (CEvents::Now() < m_busyUntil) return m_events.At(m_busyUntil, [this, datagram] { Hear(datagram); });
        std::string packet = datagram.substr(kEnvelope);
        session.OnSCTPSessionReceivedData(packet.data(), static_cast<int>(packet.size()));
        Turn();
    }

    void OnSCTPSessionReceivedFrame(char* frame, int length) override {
        bytesReceived += static_cast<uint64_t>(length);
        ++framesReceived;
        if (m_slowUs > 0) m_busyUntil = CEvents::Now() + m_slowUs;
        if (onFrame) onFrame(std::string(frame, static_cast<size_t>(length)));
    }
    void SendSCTPData(char* packet, int length) override {
        m_out.Send(std::string(kEnvelope, m_mark) + std::string(packet, static_cast<size_t>(length)));
    }
    CDataBuffer* NextWaitingFrame() override {
        auto frame = std::make_unique<CDataBuffer>();
        if (!m_waiting.empty()) {
            frame->StoreData(m_waiting.front().data(), static_cast<int>(m_waiting.front().size()));
            m_waiting.pop_front();
            return frame.release();
        }
        if (m_fillLeft == 0) return nullptr;
        --m_fillLeft;
        const std::string fill(static_cast<size_t>(m_fillLength), 'f');
        frame->StoreData(fill.data(), m_fillLength);
        return frame.release();
    }

    CSession session{*this};
    uint64_t bytesReceived = 0;
    uint64_t framesReceived = 0;
    std::function<void(const std::string&)> onFrame;

private:
    void Turn() {
        if (!session.IsWideSending() && session.IsSendIdle())
            if (CDataBuffer* frame = NextWaitingFrame()) session.SendBuffer(frame);
        while (session.ProcessSend()) {}
    }
    uint64_t Asleep() const {
        const uint64_t passed = CEvents::Now() % 10000;
        return passed < m_lateUs ? m_lateUs - passed : 0;
    }
    void Tick() {
        if (Asleep() == 0) {
            session.DoDue(CEvents::Now());
            Turn();
        }
        m_events.At(CEvents::Now() + 1000, [this] { Tick(); });
    }

    CEvents& m_events;
    CPath& m_out;
    const char m_mark;
    std::deque<std::string> m_waiting;
    int m_fillLength = 0;
    uint64_t m_fillLeft = 0;
    uint64_t m_slowUs = 0;
    uint64_t m_busyUntil = 0;
    uint64_t m_lateUs = 0;
};

/// Whether sessions are wide, for as long as one lives.
class CWideSessions {
public:
    explicit CWideSessions(bool wanted = true) { wide::SetWanted(wanted); }
    ~CWideSessions() { wide::SetWanted(false); }
    CWideSessions(const CWideSessions&) = delete;
    CWideSessions& operator=(const CWideSessions&) = delete;
};

/// Two ends, a path each way, and their world.
struct WidePair {
    explicit WidePair(PathTraits there, uint64_t seed = 1) : WidePair(there, there, seed) {}
    WidePair(PathTraits there, PathTraits back, uint64_t seed)
        : random(seed), out(events, random, there), home(events, random, back), left(events, out), right(events, home) {
        out.receiver = [this](const std::string& datagram) { right.Hear(datagram); };
        home.receiver = [this](const std::string& datagram) { left.Hear(datagram); };
    }

    CEvents events;
    CRandom random;
    CPath out, home;
    CWideEnd left, right;
};

}  // namespace sim
