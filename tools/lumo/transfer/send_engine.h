// The sender's side of the file protocol, without sockets, threads or a clock.
#pragma once

#include "tools/lumo/transfer/file_source.h"
#include "tools/lumo/transfer/send_lane.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lumo {

struct SendOptions {
    uint32_t receivers = 1;    ///< so many must have confirmed the whole before the end; 0: all who come
    uint64_t stayMs = 60000;   ///< with 0 receivers: for others, once all who came are served
    bool keep = false;         ///< serve on for ever
    uint64_t waitMs = 600000;  ///< without a living receiver
    uint64_t bytesPerSecond = 0;
    bool sealed = false;  ///< the links seal: receivers must hear that the sender is no recording
};

enum class SendState { Preparing, Serving, Done, NobodyThere, Failed };

struct SendProgress {
    SendState state = SendState::Preparing;
    uint64_t totalBytes = 0;
    uint64_t hashedBytes = 0;
    uint64_t leastBytes = 0;  ///< held by the slowest living receiver; all of them once none is unfinished
    uint64_t sentBytes = 0;   ///< blocks that have left, repetitions included
    uint32_t alive = 0;
    uint32_t unfinished = 0;
    uint32_t complete = 0;
    std::array<uint32_t, kMaxLanes> completeByLane{};
    uint32_t failed = 0;
    Failure lastFailure = Failure::None;
    std::optional<uint64_t> stayMs;  ///< everybody is served, and so much is left for others to come
};

/// Serves many receivers at once: on each lane a block leaves once for all who lack it there. One thread.
class CSendEngine {
public:
    CSendEngine(uint64_t transfer, std::vector<std::unique_ptr<IFileSource>> files, const SendOptions& options);

    /// A frame from upstream of a lane, of whatever content. True when it came from a receiver, who is served on that
    /// lane from then on.
    bool OnFrame(const char* data, size_t length, uint64_t now, size_t lane = 0);
    /// Something has come by a lane that does not open.
    void OnStranger(uint64_t now, size_t lane) { m_lanes.at(lane).strangerMs = now; }
    /// Sends what may leave. The result is how long nothing more will be to do, in ms; 0: call again at once.
    uint64_t Tick(uint64_t now, const LaneLinks& links);
    uint64_t Tick(uint64_t now, ILinkOut& link) { return Tick(now, LaneLinks{&link, nullptr}); }
    /// Sends the goodbye, whatever is still missing.
    void Leave(const LaneLinks& links, ByeReason reason);
    void Leave(ILinkOut& link, ByeReason reason) { Leave(LaneLinks{&link, nullptr}, reason); }
    /// The link was made anew: everybody may have missed something.
    void OnLinkReady(size_t lane = 0) { m_lanes.at(lane).beaconDue = true; }

    SendState State() const { return m_state; }
    bool Over() const { return m_state != SendState::Preparing && m_state != SendState::Serving; }
    const std::string& Problem() const { return m_strProblem; }
    SendProgress Progress(uint64_t now) const;
    /// Those who came have everything, and nobody said how many are to come.
    bool Stays() const { return m_options.receivers == 0 && !m_options.keep && m_nComplete > 0 && m_nUnfinished == 0; }
    uint32_t Complete() const { return m_nComplete; }
    const std::vector<std::unique_ptr<IFileSource>>& Files() const { return m_files; }
    /// Of those, the ones of which every block has left, in that order.
    const std::vector<size_t>& SentFiles() const { return m_sentFiles; }
    /// The file that was read last, and how much of it has left.
    size_t CurrentFile() const { return m_nRead; }
    uint64_t LeftOfCurrent() const;

private:
    void OnStatus(uint64_t transfer, Status& status, uint64_t now, size_t lane);
    void OnBye(const ReceiverBye& bye, uint64_t now);
    void NoteEnd(uint64_t id, CReceiverEntry& entry, const Status& status);
    void Prepare();
    void Number();
    void NoteLeft(uint32_t block, size_t file);
    uint64_t TickLane(uint64_t now, size_t index, ILinkOut& link);
    void SendBeacon(uint64_t now, size_t index, ILinkOut& link);
    void SendConfirm(CSendLane& lane, ILinkOut& link);
    void SendOffers(uint64_t now, size_t index, ILinkOut& link);
    /// True when more could leave at once.
    bool SendBlocks(uint64_t now, size_t index, ILinkOut& link);
    bool SendBlock(uint64_t now, uint32_t block, CSendLane& lane, ILinkOut& link);
    void CheckEnd(uint64_t now);
    /// For how long it stays for others; 0: it may go.
    uint64_t StayMs(uint64_t now) const;
    void Fail(const IFileSource& file);
    std::string Put(MessageBody body) const { return Encode({m_ullTransfer, std::move(body), m_nVersion}); }

    const uint64_t m_ullTransfer;
    const std::vector<std::unique_ptr<IFileSource>> m_files;
    const SendOptions m_options;
    const uint8_t m_nVersion;  // of what it says
    SendState m_state = SendState::Preparing;
    std::string m_strProblem;

    size_t m_nHashed = 0;                 // files whose digest is known
    std::vector<uint32_t> m_firstBlocks;  // of each file, once all are hashed
    uint32_t m_nBlocks = 0;
    CBlockMap m_left;                       // blocks that have left at least once
    std::vector<uint32_t> m_waitingBlocks;  // of each file, those that have not
    std::vector<size_t> m_sentFiles;
    uint64_t m_ullBytes = 0;

    CReceiverTable m_receivers;
    std::array<CSendLane, kMaxLanes> m_lanes;
    CRateLimit m_rate;
    uint64_t m_ullSentBytes = 0;
    size_t m_nRead = 0;         // the file that was read last
    std::vector<char> m_frame;  // of a block, with room around it

    bool m_bStarted = false;
    uint64_t m_ullAliveMs = 0;   // when a living receiver was last seen, or the wait began
    uint64_t m_ullServedMs = 0;  // when somebody was last served, or had not all of it yet
    uint32_t m_nUnfinished = 0;  // of those who live
    uint32_t m_nComplete = 0;
    std::array<uint32_t, kMaxLanes> m_completeByLane{};
    uint32_t m_nFailed = 0;
    Failure m_lastFailure = Failure::None;
};

}  // namespace lumo
