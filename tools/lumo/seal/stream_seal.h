// The frames of one stream, sealed and opened where there is a secret, and unchanged where there is none.
#pragma once

#include <lumomedia/seal.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumo {

/// What the frames that came so far say.
enum class SealVerdict {
    NothingYet,  ///< nothing came, or not for long enough
    Opened,      ///< for good, whatever comes later
    WrongSecret,
    SenderIsPlain,
    SenderIsSealed,  ///< and we have no secret
    ClockDiffers,
};
/// Whether it is a reason to give up.
inline bool IsInVain(SealVerdict verdict) { return verdict > SealVerdict::Opened; }
/// In words for people; empty for those that are no reason to give up.
const char* VerdictText(SealVerdict verdict);

/// One sender's. Whoever seals for a reliable medium queues in the same step.
class CStreamSealer {
public:
    /// Lanes of one sender are given one `start`, from CSealer::StartNow().
    CStreamSealer(const CSealSecret& secret, const LumoSealStream& stream, unsigned long start = 0);

    /// Makes `data` what is to be sent, which stays as it is until the next frame. False: there is nothing to send.
    bool Seal(const char*& data, int& length);
    /// The same for who may write into it, as links do into a video's first bytes.
    bool Seal(char*& data, int& length);
    /// Without a copy: there are kSealRoomBefore bytes before `data` and kSealRoomAfter behind them.
    bool SealInPlace(char*& data, int& length);
    /// By how much frames grow at most.
    int Overhead() const { return m_sealer ? kSealOverhead : 0; }

private:
    std::optional<CSealer> m_sealer;
    std::vector<char> m_sealed;
};

/// A receiver's, of all senders of the stream. One thread.
class CStreamOpener {
public:
    CStreamOpener(const CSealSecret& secret, const LumoSealStream& stream, bool anyStart = false);

    /// Opens a frame where it stands. False: drop it. A video's bytes 1 and 2, which anybody on the way may write,
    /// become the end of a number that counts what was sealed.
    bool Open(char*& data, size_t& length, uint64_t now);
    /// The last frame, which was dropped, has come before: by another way, or somebody repeats it.
    bool CameAgain() const { return m_last == SEAL_REPEATED; }
    /// A reason to give up once frames have kept coming for 1.5 s and none opened.
    SealVerdict Verdict(uint64_t now) const;
    /// What explains best that nothing opened, however little came: for who gives up anyway.
    SealVerdict LastVerdict() const;
    /// How many frames were dropped, by the reasons that there were.
    std::map<std::string, uint64_t> Dropped() const;

private:
    /// What came and did not open, without a long pause. Senders that rest say every second that they are there, so one
    /// or two frames, or many at a time, tell nothing: anybody on the way may have left them behind.
    struct VainRun {
        static constexpr uint64_t kJudgeMs = 1500;
        static constexpr uint64_t kLeastFrames = 3;
        static constexpr uint64_t kLeastMs = kJudgeMs - 500;  // from the first to the last, which may come early
        static constexpr uint64_t kPauseMs = 3000;            // after which it begins anew

        void Note(SealOutcome why, uint64_t now);
        bool Lasts(uint64_t now) const;

        uint64_t frames = 0, plain = 0, clock = 0;
        uint64_t firstMs = 0, lastMs = 0;
    };

    bool Take(char*& data, size_t& length);
    void NumberVideo(char* frame, uint64_t keyID, uint64_t counter);

    const SealMedium m_medium;
    std::optional<COpener> m_opener;  // none: plain frames are taken
    SealOutcome m_last = SEAL_DONE;
    uint64_t m_ullSealed = 0;  // frames dropped because there is no secret
    VainRun m_vain;
    bool m_bOpened = false;
    uint64_t m_ullKeyID = 0;  // of the video frame opened last
    uint64_t m_nFirst = 0;    // the number of the first frame under it
    uint64_t m_nNext = 0;     // the number after that of the last frame
};

}  // namespace lumo
