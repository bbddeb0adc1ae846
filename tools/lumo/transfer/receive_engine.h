// A receiver's side of the file protocol, without sockets, threads or a clock.
#pragma once

#include "tools/lumo/transfer/file_store.h"
#include "tools/lumo/transfer/link_out.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace lumo {

enum class ReceiveState { Waiting, Receiving, Verifying, Delivering, Done, NobodyThere, SenderLeft, Failed };

struct ReceiveProgress {
    ReceiveState state = ReceiveState::Waiting;
    uint64_t totalBytes = 0;
    uint64_t heldBytes = 0;     ///< those of an earlier attempt included
    uint64_t arrivedBytes = 0;  ///< of blocks that were stored
    uint32_t files = 0;
    uint32_t filesDone = 0;
    uint64_t damagedBlocks = 0;
    uint64_t repeatedBlocks = 0;
};

/// One file of the transfer.
struct IncomingFile {
    /// Announced: not opened yet, for others are.
    enum class Phase { Announced, Fetching, Verifying, Checking, Repairing, Done, Failed };
    Offer offer;
    std::unique_ptr<IFileStore> store;  ///< while it is open, and of a text or what is to be delivered also after it
    uint64_t keptBytes = 0;             ///< that an earlier attempt has left, as long as it is not open
    Phase phase = Phase::Fetching;
    bool wasThere = false;  ///< whole, under its name, before the transfer
    int repairs = 0;
    Failure failure = Failure::None;
    std::string problem;

    bool Ended() const { return phase == Phase::Done || phase == Phase::Failed; }
    /// Folders and links are completed last: before that files come into the ones, and none may come by the others.
    bool IsLate() const { return !offer.traits.HasContent(); }
    uint64_t HeldBytes() const;
};

/// Takes whole, verified files elsewhere, a little at a time; More until everything has been taken. Not Bad.
using Delivery = std::function<StoreStep(const std::vector<IncomingFile>& files, std::string& problem)>;

/// Asks for what it lacks, checks and stores what comes. One thread.
class CReceiveEngine {
public:
    /// `id` is random and not 0. `waitMs` without a word from a sender end it. Of a sealed transfer it takes nothing
    /// before a beacon has named `id`: what does not know it may be a recording.
    CReceiveEngine(uint64_t id, IFileFolder& folder, uint64_t waitMs, bool sealed = false);

    /// The transfer is complete only once `deliver` has taken every file; before anything comes.
    void DeliverBy(Delivery deliver) { m_deliver = std::move(deliver); }
    /// A frame from the publisher, of whatever content. True when it came from a sender. `inUse`: by the channel that
    /// reports go to; what comes by another counts there alone.
    bool OnFrame(const char* data, size_t length, uint64_t now, bool inUse = true);
    /// Something has come that does not open.
    void OnStranger(uint64_t now) {
        m_bReportDue = m_bReportDue || (!m_bHeard && now - m_ullReportMs >= kStrangerReportMs);
    }
    /// Reports, requests, verifies. The result is how long nothing more will be to do, in ms; 0: call again at once.
    uint64_t Tick(uint64_t now, ILinkOut& link);
    /// So many bytes of frames have come on the link. A block may take longer to arrive than anybody waits.
    void OnArrived(uint64_t bytes, uint64_t now);
    /// The link was made anew: the sender must hear of us.
    void OnLinkReady() { m_bReportDue = true; }
    /// Another channel from here on: it counts its blocks by itself.
    void OnLinkChanged() {
        m_ullSerial = 0;
        m_bReportDue = true;
    }
    /// Says goodbye and writes down what is there.
    void Leave(ILinkOut& link, ByeReason reason);

    bool Over() const { return m_bOver; }
    /// How it ended, or where it stands.
    ReceiveState State() const { return m_state; }
    std::string Problem() const;
    ReceiveProgress Progress() const;
    const std::vector<IncomingFile>& Files() const { return m_files; }
    /// Of those, the ones that have ended, in that order.
    const std::vector<size_t>& EndedFiles() const { return m_ended; }
    /// Those of which some has come, or that are verified, so many at most.
    std::vector<size_t> FilesInFlight(size_t most) const;

private:
    static constexpr int kMaxRepairs = 2;

    void OnBeacon(uint64_t transfer, const Beacon& beacon, uint64_t now);
    void OnOffer(const Offer& offer);
    void OnBlock(const Block& block);
    void OnSenderBye(const SenderBye& bye);
    void BeginTransfer(uint64_t transfer, const Beacon& beacon);
    /// Why an offer makes no sense beside the ones before it; empty: it does.
    std::string OfferProblem(const Offer& offer);
    /// Only looks what is there unless it may stay open.
    void OpenStore(IncomingFile& file, bool stays);
    void NoteSerial(uint64_t serial, bool isBlock);
    IncomingFile* FileOf(uint32_t block);
    void StoreBlock(IncomingFile& file, const Block& block);
    void EndFile(IncomingFile& file, Failure failure, const std::string& problem);
    void FailTransfer(Failure failure, const std::string& problem);
    bool AllOffered() const { return m_bKnows && m_files.size() == m_beacon.files; }
    /// True when there is more to hash.
    bool VerifyStep();
    void OpenAnnounced();
    void PassEnded();
    bool LateStep();
    void NoteEnded(const IncomingFile& file);
    void OnVerified(IncomingFile& file, StoreStep step);
    void OnRepaired(IncomingFile& file, StoreStep step);
    /// True when there is more to deliver.
    bool DeliverStep();
    void CheckEnd();
    void Report(uint64_t now, ILinkOut& link);
    void FlushStores();
    std::string Put(MessageBody body) const {
        return Encode({m_bKnows ? m_ullTransfer : 0, std::move(body), VersionOf(m_bSealed)});
    }
    bool ReportNeeded(uint64_t now) const;
    /// Nothing is asked for unless all of it fits; where that is in doubt, not before every offer is known.
    void CheckRoom();
    bool Ended() const { return m_state == ReceiveState::Done || m_state == ReceiveState::Failed; }

    /// Every file is verified, so that the sender is needed no longer.
    bool HasAll() const { return Ended() || m_state == ReceiveState::Delivering; }

    const uint64_t m_ullID;
    IFileFolder& m_folder;
    const uint64_t m_ullWaitMs;
    const bool m_bSealed;
    Delivery m_deliver;

    ReceiveState m_state = ReceiveState::Waiting;
    bool m_bOver = false;
    Failure m_failure = Failure::None;
    std::string m_strProblem;

    bool m_bFits = false;
    bool m_bKnows = false;  // m_ullTransfer and m_beacon are set
    uint64_t m_ullTransfer = 0;
    Beacon m_beacon;  // of the transfer's first one that told its size
    std::vector<IncomingFile> m_files;
    std::set<std::string> m_paths;  // of all of them
    uint64_t m_ullPathBytes = 0;
    bool m_bText = false;           // one of them is
    uint32_t m_nOpen = 0;           // files that are open and have not ended
    uint32_t m_nAnnounced = 0;      // they come behind all that are open
    uint64_t m_ullKeptBytes = 0;    // of those
    size_t m_nFirst = 0;            // all files before it have ended
    uint64_t m_ullPassedBytes = 0;  // that came of those
    size_t m_nNextOpen = 0;         // none before it is announced
    std::vector<size_t> m_lates;    // that have not ended; the last is the next
    std::vector<size_t> m_ended;
    uint32_t m_nFailedFiles = 0;  // of those
    uint64_t m_ullSerial = 0;
    bool m_bInUse = true;  // the channel that the frame at hand came by
    uint64_t m_ullArrivedBytes = 0;
    uint64_t m_nDamaged = 0;
    uint64_t m_nRepeated = 0;

    bool m_bStarted = false;
    bool m_bHeard = false;  // a sender
    bool m_bConfirmed = false;
    bool m_bReportDue = true;  // at once
    bool m_bGap = false;       // soon
    uint32_t m_nUnreported = 0;
    uint64_t m_ullReportMs = 0;
    uint64_t m_ullFlushMs = 0;
    uint64_t m_ullHeardMs = 0;
    uint64_t m_ullLinkBytes = 0;    // that had come when they were last counted
    uint64_t m_ullLinkBytesMs = 0;  // when that was
    uint64_t m_ullEndedMs = 0;
};

}  // namespace lumo
