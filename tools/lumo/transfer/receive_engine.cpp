#include "tools/lumo/transfer/receive_engine.h"

#include "tools/lumo/transfer/file_name.h"

#include <algorithm>

namespace lumo {
CReceiveEngine::CReceiveEngine(uint64_t id, IFileFolder& folder, uint64_t waitMs, bool sealed)
    : m_ullID(id), m_folder(folder), m_ullWaitMs(waitMs), m_bSealed(sealed) {}

bool CReceiveEngine::OnFrame(const char* data, size_t length, uint64_t now, bool inUse) {
    Message message;
    if (m_bOver || length > static_cast<size_t>(kMaxDownstreamFrame)) return false;
    DecodeResult result = Decode(data, length, message);
    if (result == DecodeResult::Ok && IsSealedVersion(message.version) != m_bSealed)
        result = DecodeResult::OtherVersion;
    if (result == DecodeResult::OtherVersion && !m_bKnows && !Ended())
        FailTransfer(Failure::BadOffer, "the sender speaks another version of the file protocol");
    if (result != DecodeResult::Ok || std::holds_alternative<Status>(message.body) ||
        std::holds_alternative<ReceiverBye>(message.body))
        return false;
    m_bHeard = true;
    m_ullHeardMs = now;
    m_bInUse = inUse;
    const bool current = m_bKnows && message.transfer == m_ullTransfer;
    if (const auto* beacon = std::get_if<Beacon>(&message.body)) {
        OnBeacon(message.transfer, *beacon, now);
    } else if (!current) {
        m_bGap = true;  // a transfer whose beacon we have not seen: ask for it
    } else if (const auto* block = std::get_if<Block>(&message.body)) {
        OnBlock(*block);
    } else if (const auto* offer = std::get_if<Offer>(&message.body)) {
        OnOffer(*offer);
    } else if (const auto* confirm = std::get_if<Confirm>(&message.body)) {
        const auto& ids = confirm->receivers;
        m_bConfirmed = m_bConfirmed || (Ended() && std::find(ids.begin(), ids.end(), m_ullID) != ids.end());
    } else if (const auto* bye = std::get_if<SenderBye>(&message.body)) {
        OnSenderBye(*bye);
    }
    return true;
}

void CReceiveEngine::OnArrived(uint64_t bytes, uint64_t now) {
    constexpr uint64_t kOfAFrame = 512, kWithinMs = 60000;  // more than a server says by itself in that time
    const bool more = bytes >= m_ullLinkBytes + kOfAFrame;
    if (!more && bytes >= m_ullLinkBytes && now - m_ullLinkBytesMs < kWithinMs) return;
    m_ullLinkBytes = bytes;
    m_ullLinkBytesMs = now;
    if (more && m_bKnows) m_ullHeardMs = now;
}

void CReceiveEngine::OnBeacon(uint64_t transfer, const Beacon& beacon, uint64_t) {
    if (beacon.state == SenderState::Preparing || HasAll()) return;
    if (!m_bKnows || transfer != m_ullTransfer) {
        const auto& ids = beacon.receivers;
        if (m_bSealed && std::find(ids.begin(), ids.end(), m_ullID) == ids.end()) {
            m_bGap = true;  // let it hear of us
            return;
        }
        BeginTransfer(transfer, beacon);
    }
    NoteSerial(beacon.serial, false);
}

void CReceiveEngine::BeginTransfer(uint64_t transfer, const Beacon& beacon) {
    m_files.clear();  // each writes down what it holds; the same content goes on from there
    m_paths.clear();
    m_ullPathBytes = 0;
    m_bText = false;
    m_nOpen = 0;
    m_nAnnounced = m_nFailedFiles = 0;
    m_ullKeptBytes = m_ullPassedBytes = 0;
    m_nFirst = m_nNextOpen = 0;
    m_lates.clear();
    m_ended.clear();
    m_bKnows = true;
    m_ullTransfer = transfer;
    m_beacon = beacon;
    m_ullSerial = 0;
    m_state = ReceiveState::Receiving;
    m_bFits = m_folder.FreeBytes() >= beacon.bytes;
    m_bReportDue = true;
    const std::string problem = m_folder.CountProblem(beacon.files);
    if (!problem.empty()) FailTransfer(Failure::Disk, problem);
}

void CReceiveEngine::NoteSerial(uint64_t serial, bool isBlock) {
    if (!m_bInUse || serial <= m_ullSerial) return;
    const bool gap = isBlock ? serial != m_ullSerial + 1 : true;
    m_bGap = m_bGap || gap;
    m_ullSerial = serial;
}

std::string CReceiveEngine::OfferProblem(const Offer& offer) {
    const uint32_t expected =
        m_files.empty() ? 0 : m_files.back().offer.firstBlock + BlocksOf(m_files.back().offer.size);
    if (offer.firstBlock != expected || BlocksOf(offer.size) > m_beacon.blocks - expected)
        return "the sender's offers contradict each other";
    const bool isText = offer.traits.kind == EntryKind::Text;
    m_ullPathBytes += offer.name.size() + offer.traits.target.size();
    if (m_ullPathBytes > kMaxPathBytes || (isText && m_bText)) return "the sender offers too much";
    m_bText = m_bText || isText;
    return isText || m_paths.insert(offer.name).second ? "" : "the sender offers two files of one name";
}

void CReceiveEngine::OnOffer(const Offer& offer) {
    if (HasAll() || AllOffered() || offer.index != m_files.size()) return;
    const std::string problem = OfferProblem(offer);
    if (!problem.empty()) {
        FailTransfer(Failure::BadOffer, problem);
        return;
    }
    IncomingFile& file = m_files.emplace_back();
    file.offer = offer;
    OpenStore(file, m_nAnnounced == 0 && m_nOpen < kMaxOpenFiles);
    if (file.IsLate() && !file.Ended()) m_lates.push_back(m_files.size() - 1);
    CheckRoom();
    m_bReportDue = AllOffered() || m_files.size() % kOffersPerTurn == 0;
}

IncomingFile* CReceiveEngine::FileOf(uint32_t block) {
    auto file = std::upper_bound(m_files.begin(), m_files.end(), block, [](uint32_t value, const IncomingFile& item) {
        return value < item.offer.firstBlock;
    });
    if (file == m_files.begin()) return nullptr;
    --file;
    return block - file->offer.firstBlock < BlocksOf(file->offer.size) ? &*file : nullptr;
}

void CReceiveEngine::OnBlock(const Block& block) {
    NoteSerial(block.serial, true);
    ++m_nUnreported;
    IncomingFile* file = Ended() ? nullptr : FileOf(block.block);
    if (!file || file->phase != IncomingFile::Phase::Fetching) return;
    const uint32_t local = block.block - file->offer.firstBlock;
    if (file->store->Have().Has(local)) {
        ++m_nRepeated;
        return;
    }
    if (block.length == BlockLength(file->offer.size, local) &&
        block.checksum == BlockChecksum(block.data, block.length)) {
        StoreBlock(*file, block);
        return;
    }
    m_bGap = true;
    if (++m_nDamaged > kMaxDamagedBlocks) FailTransfer(Failure::Damaged, "too many blocks arrive damaged");
}

void CReceiveEngine::StoreBlock(IncomingFile& file, const Block& block) {
    const uint32_t local = block.block - file.offer.firstBlock;
    if (!file.store->Write(local, block.data, block.length, block.checksum)) {
        EndFile(file, file.store->Reason(), file.store->Problem());
        return;
    }
    m_ullArrivedBytes += block.length;
}

void CReceiveEngine::FailTransfer(Failure failure, const std::string& problem) {
    m_state = ReceiveState::Failed;
    m_failure = failure;
    m_strProblem = problem;
    m_bReportDue = true;
    FlushStores();
}

void CReceiveEngine::OnSenderBye(const SenderBye& bye) {
    m_bConfirmed = true;  // nobody is left to say more
    if (m_state == ReceiveState::Delivering) return;
    if (!Ended()) {
        m_state = ReceiveState::SenderLeft;
        m_strProblem = bye.reason == ByeReason::Done ? "the sender ended without this receiver"
                                                     : "the sender left; what has come is kept";
    }
    m_bOver = true;
}

uint64_t CReceiveEngine::Tick(uint64_t now, ILinkOut& link) {
    if (!m_bStarted) {
        m_bStarted = true;
        m_ullHeardMs = now;
    }
    if (m_bOver) return 0;
    const bool more = VerifyStep() || DeliverStep();
    CheckEnd();
    if (Ended() && m_ullEndedMs == 0) m_ullEndedMs = now;
    // One report waits at most: the next says all that it said.
    if (link.Ready() && link.Queued() == 0 && ReportNeeded(now)) Report(now, link);
    if (Ended()) {
        m_bOver = m_bConfirmed || !m_bKnows || now - m_ullEndedMs > kConfirmWaitMs;
    } else if (!HasAll() && now - m_ullHeardMs > m_ullWaitMs) {
        const bool begun = m_bKnows;
        m_state = begun ? ReceiveState::Failed : ReceiveState::NobodyThere;
        m_strProblem = begun ? "the sender has fallen silent; what has come is kept" : "nobody sends there";
        m_bOver = true;
    }
    if (more || m_bOver) return 0;
    return m_bGap || m_bReportDue ? kReportGapMs : kHeartbeatMs / 10;
}

bool CReceiveEngine::ReportNeeded(uint64_t now) const {
    const uint64_t since = now - m_ullReportMs;
    return m_bReportDue || m_nUnreported >= kReportBlocks || since >= kHeartbeatMs ||
           ((m_bGap || m_nUnreported > 0) && since >= kReportGapMs);
}

void CReceiveEngine::Report(uint64_t now, ILinkOut& link) {
    Status status;
    status.receiver = m_ullID;
    status.serial = m_ullSerial;
    status.failure = m_failure;
    status.offers = static_cast<uint32_t>(m_files.size());
    switch (m_state) {
        case ReceiveState::Done:
            status.state = ReceiverState::Complete;
            break;
        case ReceiveState::Failed:
            status.state = ReceiverState::Failed;
            break;
        case ReceiveState::Verifying:
        case ReceiveState::Delivering:
            status.state = ReceiverState::Verifying;
            break;
        default:
            status.state = m_bKnows ? ReceiverState::Receiving : ReceiverState::Waiting;
    }
    status.bytes = Progress().heldBytes;
    for (size_t i = m_nFirst; m_bFits && !Ended() && i < m_files.size(); ++i) {
        const IncomingFile& file = m_files[i];
        if (file.phase == IncomingFile::Phase::Announced) break;
        if (file.phase != IncomingFile::Phase::Fetching) continue;
        file.store->Have().AddLacking(file.offer.firstBlock, status.lacking);
    }
    if (now - m_ullFlushMs >= kHeartbeatMs) {
        m_ullFlushMs = now;
        FlushStores();
    }
    link.Send(Put(std::move(status)));
    m_bReportDue = m_bGap = false;
    m_nUnreported = 0;
    m_ullReportMs = now;
}

void CReceiveEngine::FlushStores() {
    for (IncomingFile& file : m_files) {
        if (file.store && !file.Ended()) file.store->Flush();
    }
}

void CReceiveEngine::Leave(ILinkOut& link, ByeReason reason) {
    FlushStores();
    link.Send(Put(ReceiverBye{m_ullID, reason}));
    m_bOver = true;
}

std::string CReceiveEngine::Problem() const {
    constexpr size_t kMostTold = 5;
    if (!m_strProblem.empty()) return m_strProblem;
    std::string text;
    size_t failed = 0;
    for (const IncomingFile& file : m_files) {
        if (file.phase != IncomingFile::Phase::Failed || ++failed > kMostTold) continue;
        text += (text.empty() ? "" : "; ") + Printable(m_folder.LocalName(file.offer.name)) + ": " + file.problem;
    }
    return failed > kMostTold ? text + "; and " + std::to_string(failed - kMostTold) + " more" : text;
}

ReceiveProgress CReceiveEngine::Progress() const {
    ReceiveProgress progress;
    progress.state = m_state;
    progress.files = m_bKnows ? m_beacon.files : 0;
    progress.totalBytes = m_bKnows ? m_beacon.bytes : 0;
    progress.arrivedBytes = m_ullArrivedBytes;
    progress.damagedBlocks = m_nDamaged;
    progress.repeatedBlocks = m_nRepeated;
    progress.filesDone = static_cast<uint32_t>(m_ended.size()) - m_nFailedFiles;
    progress.heldBytes = m_ullPassedBytes + m_ullKeptBytes;
    for (size_t i = m_nFirst; i < m_files.size() && m_files[i].phase != IncomingFile::Phase::Announced; ++i) {
        const IncomingFile& file = m_files[i];
        if (file.phase == IncomingFile::Phase::Done)
            progress.heldBytes += file.offer.size;
        else if (file.phase != IncomingFile::Phase::Failed)
            progress.heldBytes += file.HeldBytes();
    }
    return progress;
}

}  // namespace lumo
