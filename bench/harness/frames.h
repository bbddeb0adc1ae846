// The frames of a bulk run: marked so that the receiver knows each one, whole and in its place.
#pragma once

#include "bench/harness/delays.h"
#include "bench/harness/side.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace bench {

/// Frames numbered from 0, one buffer for all of them.
class CFrameSource {
public:
    CFrameSource(uint32_t frames, uint32_t frameLen) : m_nFrames(frames), m_frame(frameLen, 'x') {}
    /// A run's: ends with the run where that has a time.
    explicit CFrameSource(CSide& side) : CFrameSource(side.Spec().frames, side.Spec().frameLen) {
        if (side.Spec().seconds > 0) m_pTimed = &side;
    }

    /// Marks the buffer as the next frame, and with the time; false after the last.
    bool Next();
    const char* Data() const { return m_frame.data(); }
    int Length() const { return static_cast<int>(m_frame.size()); }
    uint32_t Made() const { return m_nMade; }

private:
    const uint32_t m_nFrames;
    uint32_t m_nMade = 0;
    std::vector<char> m_frame;
    CSide* m_pTimed = nullptr;
};

/// Takes the frames in the order in which they came.
class CFrameCheck {
public:
    CFrameCheck(uint32_t frames, uint32_t frameLen) : m_nFrames(frames), m_nFrameLen(frameLen) {}

    /// False when it is not the frame that is due, or not as it was sent; Fault() says why.
    bool Take(const char* data, int length);
    bool Done() const { return m_nTaken == m_nFrames; }
    uint32_t Taken() const { return m_nTaken; }
    const std::string& Fault() const { return m_fault; }

private:
    const uint32_t m_nFrames;
    const uint32_t m_nFrameLen;
    uint32_t m_nTaken = 0;
    std::string m_fault;
};

/// What came within the seconds of a run of a time. What is there when they begin does not count.
class CGoodput {
public:
    explicit CGoodput(const RunSpec& spec)
        : m_nFrom(spec.countFromNs), m_dSeconds(spec.seconds), m_dSettling(spec.SettlingSeconds()) {}

    /// So many bytes have come just now. True once the seconds are over.
    bool Take(int64_t nowNs, uint64_t bytes);
    /// "bytes" and "seconds", and over a path "settled_MB/s": of the time after senders had found its rate.
    Values Result() const;

private:
    double SecondsTo(int64_t nowNs) const { return static_cast<double>(nowNs - m_nBegin) * 1e-9; }

    const int64_t m_nFrom;
    const double m_dSeconds, m_dSettling;
    int64_t m_nBegin = 0, m_nSettled = 0, m_nEnd = 0;
    uint64_t m_ullBytes = 0, m_ullBytesBefore = 0;
};

/// The receiving end of a bulk run. The clock runs from the moment the first frame is there to the last one, and the
/// first frame's bytes do not count: the same for transports that show the first byte and those that do not.
class CBulkReceiver {
public:
    explicit CBulkReceiver(CSide& side);

    /// One thread at a time. False once nothing more is wanted.
    bool OnFrame(const char* data, int length);
    uint32_t Taken() const { return m_check.Taken(); }
    /// Nothing more comes. A run of a time goes on until it is stopped: its sender must not block.
    bool Done() { return m_bFinished && (m_side.Spec().seconds == 0 || m_side.Stopped()); }
    /// The measurement is over.
    bool Finished() const { return m_bFinished; }

private:
    void Finish();

    CSide& m_side;
    CFrameCheck m_check;
    CGoodput m_goodput;
    CDelays m_delays;
    bool m_bFailed = false;
    std::atomic<bool> m_bFinished{false};
};

}  // namespace bench
