#include "tools/lumo/transfer/send_engine.h"

#include "tools/lumo/transfer/file_name.h"

#include <lumomedia/seal.h>

#include <algorithm>

namespace lumo {

namespace {

/// Whether receivers must know more than files.
bool IsTree(const std::vector<std::unique_ptr<IFileSource>>& files) {
    return std::any_of(files.begin(), files.end(), [](const auto& file) {
        return file->Traits().kind != EntryKind::File || file->Name().find('/') != std::string::npos;
    });
}

}  // namespace

CSendEngine::CSendEngine(uint64_t transfer, std::vector<std::unique_ptr<IFileSource>> files, const SendOptions& options)
    : m_ullTransfer(transfer),
      m_files(std::move(files)),
      m_options(options),
      m_nVersion(VersionOf(options.sealed, IsTree(m_files))),
      m_rate(options.bytesPerSecond),
      m_frame(kSealRoomBefore + kBlockHeaderLength + kBlockSize + kSealRoomAfter) {}

namespace {

/// Blocks from `blocks` on do not exist: whoever asks for them would only cost the others time. `ranges` ascend.
void CutAt(uint32_t blocks, std::vector<BlockRange>& ranges) {
    while (!ranges.empty() && ranges.back().first >= blocks) ranges.pop_back();
    if (!ranges.empty()) ranges.back().count = std::min(ranges.back().count, blocks - ranges.back().first);
}

}  // namespace

bool CSendEngine::OnFrame(const char* data, size_t length, uint64_t now, size_t lane) {
    Message message;
    if (length > static_cast<size_t>(kMaxUpstreamFrame) || Decode(data, length, message) != DecodeResult::Ok ||
        message.version != VersionOf(m_options.sealed))
        return false;
    if (auto* status = std::get_if<Status>(&message.body)) {
        OnStatus(message.transfer, *status, now, lane);
    } else if (const auto* bye = std::get_if<ReceiverBye>(&message.body)) {
        OnBye(*bye, now);
    } else {
        return false;
    }
    return true;
}

void CSendEngine::OnStatus(uint64_t transfer, Status& status, uint64_t now, size_t index) {
    CReceiverEntry* entry = m_receivers.FindOrAdd(status.receiver, now);
    if (!entry) return;
    CSendLane& lane = m_lanes.at(index);
    const bool fresh = entry->heardMs == 0 || entry->lane != index || !CReceiverTable::Alive(*entry, now);
    const bool ours = transfer == m_ullTransfer;
    // What is on its way by the lane that it leaves still comes by that.
    if (entry->heardMs != 0 && entry->lane != index) lane.cursor = m_lanes.at(entry->lane).cursor;
    entry->heardMs = now;
    entry->left = false;
    entry->knowsTransfer = ours;
    if (fresh) {
        // Nothing sent there before it came is owed to it.
        entry->lane = index;
        entry->serial = lane.sent.Last();
        entry->movedMs = now;
        lane.beaconDue = true;
    }
    if (!ours) {  // it has not heard of this transfer, or still holds to another
        lane.beaconDue = lane.beaconDue || !fresh;
        entry->lacking.Clear();
        return;
    }
    const uint64_t serial = std::min(status.serial, lane.sent.Last());
    if (serial > entry->serial) {
        entry->serial = serial;
        entry->movedMs = now;
        if (const uint64_t left = lane.sent.LeftAt(serial, now); left < now)
            entry->delayMs = std::min(entry->delayMs, now - left);
        const bool known = entry->delayMs < kReceiverSilentMs;
        if (known && m_receivers.Slowest(now, index, lane.sent.Last()) == serial)
            lane.lead.OnReport(now, serial, entry->delayMs);
    }
    NoteEnd(status.receiver, *entry, status);
    entry->state = status.state;
    entry->failure = status.failure;
    entry->bytes = std::min(status.bytes, m_ullBytes);
    entry->offers = status.offers;
    CutAt(m_nBlocks, status.lacking);
    entry->lacking = CBlockRanges(std::move(status.lacking));
    lane.sent.Subtract(serial, entry->lacking);
}

void CSendEngine::NoteEnd(uint64_t id, CReceiverEntry& entry, const Status& status) {
    const bool complete = status.state == ReceiverState::Complete;
    const bool failed = status.state == ReceiverState::Failed;
    if (!complete && !failed) return;
    std::vector<uint64_t>& confirms = m_lanes.at(entry.lane).confirms;
    if (confirms.size() < kMaxReceivers) confirms.push_back(id);
    if (entry.state == status.state) return;  // said before
    if (complete) m_ullServedMs = entry.heardMs;
    m_nComplete += complete;
    m_completeByLane.at(entry.lane) += complete;
    m_nFailed += failed;
    if (failed) m_lastFailure = status.failure;
}

void CSendEngine::OnBye(const ReceiverBye& bye, uint64_t now) {
    CReceiverEntry* entry = m_receivers.Find(bye.receiver);
    if (!entry) return;
    entry->heardMs = now;
    entry->left = true;
    entry->bye = bye.reason;
    entry->lacking.Clear();
}

void CSendEngine::Fail(const IFileSource& file) {
    m_state = SendState::Failed;
    m_strProblem = file.Name() + ": " + file.Problem();
}

void CSendEngine::Prepare() {
    if (m_nHashed < m_files.size()) {
        IFileSource& file = *m_files[m_nHashed];
        if (file.HashStep()) {
            ++m_nHashed;
            file.Rest();
        } else if (!file.Problem().empty()) {
            Fail(file);
        }
    }
    if (m_state == SendState::Preparing && m_nHashed == m_files.size()) Number();
}

void CSendEngine::Number() {
    uint64_t blocks = 0;
    for (const auto& file : m_files) {
        m_firstBlocks.push_back(static_cast<uint32_t>(blocks));
        m_waitingBlocks.push_back(BlocksOf(file->Size()));
        blocks += m_waitingBlocks.back();
        m_ullBytes += file->Size();
        if (blocks <= kMaxBlocks) continue;
        m_state = SendState::Failed;
        m_strProblem = "the files together are too large for one transfer";
        return;
    }
    m_nBlocks = static_cast<uint32_t>(blocks);
    m_left = CBlockMap(m_nBlocks);
    m_state = SendState::Serving;
    for (CSendLane& lane : m_lanes) lane.beaconDue = true;
}

uint64_t CSendEngine::Tick(uint64_t now, const LaneLinks& links) {
    if (!m_bStarted) {
        m_bStarted = true;
        m_ullAliveMs = now;
    }
    if (m_state == SendState::Preparing) Prepare();
    if (Over()) return 0;
    uint64_t wait = kHeartbeatMs / 10;
    for (size_t i = 0; i < kMaxLanes; ++i) {
        if (links.at(i)) wait = std::min(wait, TickLane(now, i, *links.at(i)));
    }
    if (m_state == SendState::Preparing) return 0;
    CheckEnd(now);
    return Over() ? 0 : wait;
}

uint64_t CSendEngine::TickLane(uint64_t now, size_t index, ILinkOut& link) {
    CSendLane& lane = m_lanes.at(index);
    m_receivers.Sweep(now, index, lane.sent.Last());
    lane.pace.Update(now, link.Queued());
    if (!link.Ready()) return kReportGapMs;
    const uint64_t since = now - lane.beaconMs;
    const bool strange = lane.strangerMs != 0 && now - lane.strangerMs <= kStrangerGoneMs;
    const bool due = since >= (strange ? kStrangerBeaconMs : kHeartbeatMs) || (lane.beaconDue && since >= kReportGapMs);
    // Where a frame takes longer than a heartbeat, beacons that wait for one another would leave no room for blocks.
    if (due && link.Queued() <= lane.behindBeacon) SendBeacon(now, index, link);
    if (!lane.confirms.empty()) SendConfirm(lane, link);
    if (m_state == SendState::Preparing) return 0;
    SendOffers(now, index, link);
    if (SendBlocks(now, index, link)) return 0;
    if (lane.beaconDue) return kReportGapMs;
    // Whoever lacks something waits for the queue, the lead or the rate.
    return m_receivers.NextLacking(index, 0) != CBlockRanges::kNone ? 1 : kHeartbeatMs / 10;
}

void CSendEngine::CheckEnd(uint64_t now) {
    if (Over()) return;
    uint32_t alive = 0;
    m_nUnfinished = 0;
    for (const auto& [id, entry] : m_receivers.Entries()) {
        if (!CReceiverTable::Alive(entry, now)) continue;
        ++alive;
        m_nUnfinished += !entry.Ended() && now - entry.movedMs < kReceiverStuckMs;
    }
    if (alive > 0) m_ullAliveMs = now;
    if (m_nUnfinished > 0) m_ullServedMs = now;
    if (m_options.keep) return;
    const bool enough = m_options.receivers > 0 ? m_nComplete >= m_options.receivers && m_nUnfinished == 0
                                                : Stays() && StayMs(now) == 0;
    if (enough)
        m_state = SendState::Done;
    else if (now - m_ullAliveMs > m_options.waitMs && !Stays())
        m_state = m_nFailed + m_nComplete > 0 ? SendState::Failed : SendState::NobodyThere;
    if (m_state == SendState::Failed)
        m_strProblem =
            m_nFailed > 0 ? std::string("a receiver failed: ") + FailureText(m_lastFailure) : "too few receivers came";
}

uint64_t CSendEngine::StayMs(uint64_t now) const {
    const uint64_t stayed = now - std::min(now, m_ullServedMs);
    const uint64_t most = std::min(m_options.stayMs, m_options.waitMs);
    return most - std::min(most, stayed);
}

void CSendEngine::Leave(const LaneLinks& links, ByeReason reason) {
    for (size_t i = 0; i < kMaxLanes; ++i) {
        if (!links.at(i)) continue;
        if (!m_lanes.at(i).confirms.empty()) SendConfirm(m_lanes.at(i), *links.at(i));
        links.at(i)->Send(Put(SenderBye{reason}));
    }
}

SendProgress CSendEngine::Progress(uint64_t now) const {
    SendProgress progress;
    progress.state = m_state;
    for (const auto& file : m_files) {
        progress.totalBytes += file->Size();
        progress.hashedBytes += file->HashedBytes();
    }
    progress.sentBytes = m_ullSentBytes;
    progress.complete = m_nComplete;
    progress.completeByLane = m_completeByLane;
    progress.failed = m_nFailed;
    progress.lastFailure = m_lastFailure;
    uint64_t least = m_ullBytes;
    for (const auto& [id, entry] : m_receivers.Entries()) {
        if (!CReceiverTable::Alive(entry, now)) continue;
        ++progress.alive;
        if (entry.Ended()) continue;
        ++progress.unfinished;
        least = std::min(least, entry.bytes);
    }
    if (Stays()) progress.stayMs = StayMs(now);
    progress.leastBytes = progress.unfinished + progress.complete > 0 ? least : 0;
    return progress;
}

}  // namespace lumo
