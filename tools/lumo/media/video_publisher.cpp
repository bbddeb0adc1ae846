#include "tools/lumo/media/video_publisher.h"

#include "tools/lumo/media/video_frame.h"

#include <algorithm>
#include <utility>

namespace lumo {

void CVideoPublisher::SetIndex(VideoIndex index, bool loop) {
    m_index = std::move(index);
    m_bLoop = loop;
}

void CVideoPublisher::Restart(uint64_t offset, uint64_t number) {
    m_ullEmptyNals = EmptyNals();
    m_reader = CAnnexBReader(offset);
    m_ullNumber = number;
    m_bReady = false;
    if (m_backFrom && offset == 0) m_backFrom.reset();
}

void CVideoPublisher::RequestKeyFrame() {
    m_bKeyWanted = true;
    ++m_ullRequests;
}

/// The nearest, but back by the same stretch only once: those who join one after the other must not hold it there.
const VideoIndex::Key* CVideoPublisher::Where() const {
    const VideoIndex::Key* nearest = m_index->Nearest(m_ullNumber);
    const bool again = nearest && nearest->number < m_ullNumber && m_backFrom && m_ullNumber <= *m_backFrom;
    const VideoIndex::Key* after = again ? m_index->After(m_ullNumber, m_bLoop) : nullptr;
    return after ? after : nearest;
}

bool CVideoPublisher::GoesElsewhere(uint64_t nowMs) {
    if (!m_bKeyWanted || !m_index || (m_keyMs && nowMs - *m_keyMs < kMergeMs)) return false;
    const VideoIndex::Key* key = Where();
    m_bKeyWanted = key != nullptr && key->number != m_ullNumber;
    if (!m_bKeyWanted) return false;  // it comes next
    m_bKeyWanted = false;
    const uint64_t from = m_ullNumber;
    Restart(key->offset, key->number);
    if (key->number < from) m_backFrom = from;
    m_ullGoOnAt = key->offset;
    return true;
}

CVideoPublisher::State CVideoPublisher::Take(uint64_t nowMs) {
    switch (m_reader.Next(m_unit)) {
        case CAnnexBReader::Result::Unit:
            m_bReady = m_bBegun || m_unit.key;  // nobody can decode what comes before the first one
            if (!m_bReady) ++m_ullNumber;
            if (m_bReady && !m_dDueMs) m_dDueMs = static_cast<double>(nowMs);
            return State::Ready;
        case CAnnexBReader::Result::NeedMore:
            return State::NeedMore;
        case CAnnexBReader::Result::End:
            if (!m_bBegun) m_strProblem = "there is no IDR picture in it, which decoding could begin with";
            return m_bBegun ? State::End : State::Failed;
        case CAnnexBReader::Result::Broken:
            m_strProblem = m_reader.Problem();
            break;
    }
    return State::Failed;
}

CVideoPublisher::State CVideoPublisher::Fetch(uint64_t nowMs) {
    if (GoesElsewhere(nowMs)) return State::GoOn;
    State state = State::Ready;
    while (!m_bReady && state == State::Ready) state = Take(nowMs);
    return state;
}

void CVideoPublisher::Send(uint64_t nowMs) {
    if (!m_bReady) return;
    const std::string unit = m_parameters.Complete(m_unit);
    m_bReady = false;
    ++m_ullNumber;
    ++m_ullFrames;
    m_ullBytes += unit.size();
    if (m_unit.key) {
        m_bBegun = true;
        m_bKeyWanted = false;
        m_keyMs = nowMs;
        ++m_ullKeyFrames;
    }
    const auto now = static_cast<double>(nowMs);
    m_dDueMs = std::max(m_dDueMs.value_or(now), now - static_cast<double>(kLateMs)) + m_dGapMs;
    Publish(Encode({m_unit.key, m_usSequence, unit}));
}

void CVideoPublisher::Publish(std::string frame) {
    m_out(frame);
    m_usSequence = static_cast<uint16_t>(SequenceOf(frame) + 1);
}

void CVideoPublisher::SayGoodbye() {
    // The first has arrived when the second leaves the queue.
    for (int i = 0; i < 2; ++i) Publish(EncodeVideoEnd(m_usSequence));
}

}  // namespace lumo
