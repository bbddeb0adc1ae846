#include "bench/harness/frames.h"

#include "bench/harness/clock.h"

#include <cstring>

namespace bench {

namespace {

constexpr size_t kMarkEvery = 1024;  // smaller than a packet's share of a frame, so that each packet is marked
constexpr size_t kStampAt = sizeof(uint64_t);  // behind the first mark, in frames that have the room
constexpr size_t kStampedLen = 4 * sizeof(uint64_t);

uint64_t Mark(uint32_t frame, size_t offset) {
    return ((static_cast<uint64_t>(frame) << 32) | offset) * 0x9E3779B97F4A7C15U + 1;
}

template <class TDo>
void ForEachMark(size_t length, TDo perform) {
    for (size_t offset = 0; offset + sizeof(uint64_t) <= length; offset += kMarkEvery) perform(offset);
    if (length >= sizeof(uint64_t)) perform(length - sizeof(uint64_t));
}

}  // namespace

bool CFrameSource::Next() {
    if (m_nMade == m_nFrames || (m_pTimed && m_pTimed->Stopped())) return false;
    ForEachMark(m_frame.size(), [&](size_t offset) {
        const uint64_t mark = Mark(m_nMade, offset);
        std::memcpy(m_frame.data() + offset, &mark, sizeof mark);
    });
    if (m_frame.size() >= kStampedLen) WriteStamp(m_frame.data() + kStampAt, {m_nMade, NowNs()});
    ++m_nMade;
    return true;
}

bool CFrameCheck::Take(const char* data, int length) {
    const std::string name = "frame " + std::to_string(m_nTaken);
    if (Done()) {
        m_fault = "more frames than were sent";
    } else if (length < 0 || static_cast<uint32_t>(length) != m_nFrameLen) {
        m_fault = name + " has " + std::to_string(length) + " bytes";
    } else {
        ForEachMark(static_cast<size_t>(length), [&](size_t offset) {
            const uint64_t mark = Mark(m_nTaken, offset);
            if (std::memcmp(data + offset, &mark, sizeof mark) != 0)
                m_fault = name + " is not what was sent at byte " + std::to_string(offset);
        });
    }
    if (!m_fault.empty()) return false;
    ++m_nTaken;
    return true;
}

bool CGoodput::Take(int64_t nowNs, uint64_t bytes) {
    if (m_nBegin > 0)
        m_ullBytes += bytes;
    else if (nowNs >= m_nFrom)
        m_nBegin = nowNs;
    m_nEnd = nowNs;
    if (m_dSettling > 0 && m_nSettled == 0 && m_nBegin > 0 && SecondsTo(nowNs) >= m_dSettling) {
        m_nSettled = nowNs;
        m_ullBytesBefore = m_ullBytes;
    }
    return m_nBegin > 0 && m_dSeconds > 0 && SecondsTo(nowNs) >= m_dSeconds;
}

Values CGoodput::Result() const {
    Values values{{"bytes", static_cast<double>(m_ullBytes)}, {"seconds", SecondsTo(m_nEnd)}};
    const double settled = static_cast<double>(m_nEnd - m_nSettled) * 1e-9;
    if (m_nSettled > 0 && settled > 0)
        values["settled_MB/s"] = static_cast<double>(m_ullBytes - m_ullBytesBefore) / kMega / settled;
    return values;
}

CBulkReceiver::CBulkReceiver(CSide& side)
    : m_side(side), m_check(side.Spec().frames, side.Spec().frameLen), m_goodput(side.Spec()) {}

bool CBulkReceiver::OnFrame(const char* data, int length) {
    if (m_bFailed) return false;
    if (m_bFinished) return true;  // what a run of a time has still sent
    if (!m_check.Take(data, length)) {
        m_bFailed = true;
        m_side.Fail(m_check.Fault());
        return false;
    }
    const RunSpec& spec = m_side.Spec();
    if (spec.delays && spec.frameLen >= kStampedLen) m_delays.Add(NowNs() - ReadStamp(data + kStampAt).sentNs);
    if (!m_goodput.Take(NowNs(), spec.frameLen) && !m_check.Done()) return true;
    Finish();
    return spec.seconds > 0;
}

void CBulkReceiver::Finish() {
    const RunSpec& spec = m_side.Spec();
    Values values = m_goodput.Result();
    if (spec.delays) values["frames/s"] = values["bytes"] / spec.frameLen / values["seconds"];
    m_delays.Report(values);
    m_bFinished = true;
    m_side.Finish(values);
}

}  // namespace bench
