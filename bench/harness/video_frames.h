// The frames of video runs: a key frame now and then, numbered and stamped behind the three bytes that are the
// library's.
#pragma once

#include "bench/harness/clock.h"
#include "bench/harness/delays.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

inline constexpr int64_t kVideoPaceNs = 1000000000 / 30;
inline constexpr uint32_t kKeyEvery = 30;

class CVideoFrames {
public:
    CVideoFrames(uint32_t usual, uint32_t key) : m_nUsual(usual), m_nKey(key), m_frame(key > usual ? key : usual) {}

    /// The next one, numbered from 1.
    char* Next() {
        m_frame[0] = IsKey(++m_nMade) ? 1 : 0;
        m_frame[1] = m_frame[2] = 0;
        WriteStamp(m_frame.data() + kStampAt, {m_nMade, NowNs()});
        return m_frame.data();
    }
    int Length() const { return static_cast<int>(IsKey(m_nMade) ? m_nKey : m_nUsual); }
    uint32_t Made() const { return m_nMade; }
    /// Of a frame as it arrived; throws when it is none that was made so.
    FrameStamp Check(const char* frame, int length) const {
        if (length < static_cast<int>(kStampAt + kStampLen)) throw std::runtime_error("not a frame");
        const FrameStamp stamp = ReadStamp(frame + kStampAt);
        const bool key = IsKey(stamp.number);
        if ((frame[0] != 0) != key || length != static_cast<int>(key ? m_nKey : m_nUsual))
            throw std::runtime_error("frame " + std::to_string(stamp.number) + " is not what was sent");
        return stamp;
    }

private:
    static constexpr size_t kStampAt = 4;
    static bool IsKey(uint32_t number) { return number % kKeyEvery == 1; }

    const uint32_t m_nUsual;
    const uint32_t m_nKey;
    uint32_t m_nMade = 0;
    std::vector<char> m_frame;
};

/// 4 KiB, now and then 40.
inline CVideoFrames SmallVideoFrames() { return {4096, 40960}; }
/// 8 Mb/s.
inline CVideoFrames StreamVideoFrames() { return {1000000 / 30, 1000000 / 30}; }

/// So many frames at the pace of video.
template <class Send>
void SendPaced(CVideoFrames& frames, uint32_t count, Send send) {
    int64_t due = NowNs();
    for (uint32_t i = 0; i < count; ++i) {
        SleepUntil(due);
        due += kVideoPaceNs;
        char* frame = frames.Next();
        send(frame, frames.Length());
    }
}

}  // namespace bench
