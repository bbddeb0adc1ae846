#include "tools/lumo/transfer/send_engine.h"

#include "tools/lumo/transfer/file_name.h"

#include <algorithm>

namespace lumo {

CSendEngine::CSendEngine(uint64_t transfer, std::vector<std::unique_ptr<IFileSource>> files, const SendOptions& options)
    : m_ullTransfer(transfer),
      m_files(std::move(files)),
      m_options(options),
      m_rate(options.bytesPerSecond),
      m_frame(kBlockHeaderLength + kBlockSize) {}

namespace {

/// Blocks from `blocks` on do not exist: whoever asks for them would only cost the others time. `ranges` ascend.
void CutAt(uint32_t blocks, std::vector<BlockRange>& ranges) {
    while (!ranges.empty() && ranges.back().first >= blocks) ranges.pop_back();
    if (!ranges.empty()) ranges.back().count = std::min(ranges.back().count, blocks - ranges.back().first);
}

}  // namespace

bool CSendEngine::OnFrame(const char* data, size_t length, uint64_t now) {
    Message message;
    if (length > static_cast<size_t>(kMaxUpstreamFrame) || Decode(data, length, message) != DecodeResult::Ok)
        return false;
    if (auto* status = std::get_if<Status>(&message.body)) {
        OnStatus(message.transfer, *status, now);
    } else if (const auto* bye = std::get_if<ReceiverBye>(&message.body)) {
        OnBye(*bye, now);
    } else {
        return false;
    }
    return true;
}

void CSendEngine::OnStatus(uint64_t transfer, Status& status, uint64_t now) {
    CReceiverEntry* entry = m_receivers.FindOrAdd(status.receiver, now);
    if (!entry) return;
    const bool fresh = entry->heardMs == 0 || !CReceiverTable::Alive(*entry, now);
    const bool ours = transfer == m_ullTransfer;
    entry->heardMs = now;
    entry->left = false;
    if (fresh) {
        // Nothing sent before it came is owed to it.
        entry->serial = m_sent.Last();
        entry->movedMs = now;
        m_bBeaconDue = true;
    }
    if (!ours) {  // it has not heard of this transfer, or still holds to another
        m_bBeaconDue = m_bBeaconDue || !fresh;
        entry->lacking.Clear();
        return;
    }
    const uint64_t serial = std::min(status.serial, m_sent.Last());
    if (serial > entry->serial) {
        entry->serial = serial;
        entry->movedMs = now;
    }
    NoteEnd(status.receiver, *entry, status);
    entry->knowsTransfer = true;
    entry->state = status.state;
    entry->failure = status.failure;
    entry->bytes = std::min(status.bytes, m_ullBytes);
    entry->offers = status.offers;
    CutAt(m_nBlocks, status.lacking);
    entry->lacking = CBlockRanges(std::move(status.lacking));
    m_sent.Subtract(serial, entry->lacking);
}

void CSendEngine::NoteEnd(uint64_t id, CReceiverEntry& entry, const Status& status) {
    const bool complete = status.state == ReceiverState::Complete;
    const bool failed = status.state == ReceiverState::Failed;
    if (!complete && !failed) return;
    if (m_confirms.size() < kMaxReceivers) m_confirms.push_back(id);
    if (entry.state == status.state) return;  // said before
    m_nComplete += complete;
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
        if (file.HashStep())
            ++m_nHashed;
        else if (!file.Problem().empty())
            Fail(file);
    }
    if (m_state == SendState::Preparing && m_nHashed == m_files.size()) Number();
}

void CSendEngine::Number() {
    uint64_t blocks = 0;
    for (const auto& file : m_files) {
        m_firstBlocks.push_back(static_cast<uint32_t>(blocks));
        blocks += BlocksOf(file->Size());
        m_ullBytes += file->Size();
        if (blocks <= kMaxBlocks) continue;
        m_state = SendState::Failed;
        m_strProblem = "the files together are too large for one transfer";
        return;
    }
    m_nBlocks = static_cast<uint32_t>(blocks);
    m_state = SendState::Serving;
    m_bBeaconDue = true;
}

uint64_t CSendEngine::Tick(uint64_t now, ILinkOut& link) {
    if (!m_bStarted) {
        m_bStarted = true;
        m_ullAliveMs = now;
    }
    if (m_state == SendState::Preparing) Prepare();
    if (Over()) return 0;
    m_receivers.Sweep(now, m_sent.Last());
    m_pace.Update(now, link.Queued());
    if (link.Ready()) {
        const uint64_t since = now - m_ullBeaconMs;
        if (since >= kHeartbeatMs || (m_bBeaconDue && since >= kReportGapMs)) SendBeacon(now, link);
        if (!m_confirms.empty()) SendConfirm(link);
    }
    if (m_state == SendState::Preparing) return 0;
    if (link.Ready()) SendOffers(now, link);
    const bool more = link.Ready() && SendBlocks(now, link);
    CheckEnd(now);
    if (more || Over()) return 0;
    if (!link.Ready() || m_bBeaconDue) return kReportGapMs;
    if (m_receivers.NextLacking(0) != CBlockRanges::kNone) return 1;  // waits for the queue, the lead or the rate
    return kHeartbeatMs / 10;
}

void CSendEngine::SendBeacon(uint64_t now, ILinkOut& link) {
    Beacon beacon;
    beacon.serial = m_sent.Last();
    if (m_state == SendState::Serving) {
        beacon.state = SenderState::Serving;
        beacon.files = static_cast<uint32_t>(m_files.size());
        beacon.blocks = m_nBlocks;
        beacon.bytes = m_ullBytes;
    }
    link.Send(Encode({m_ullTransfer, beacon}));
    m_bBeaconDue = false;
    m_ullBeaconMs = now;
}

void CSendEngine::SendConfirm(ILinkOut& link) {
    link.Send(Encode({m_ullTransfer, Confirm{m_confirms}}));
    m_confirms.clear();
}

void CSendEngine::SendOffers(uint64_t now, ILinkOut& link) {
    uint32_t first = kMaxFiles;
    for (auto& [id, entry] : m_receivers.Entries()) {
        const bool lacks = CReceiverTable::Alive(entry, now) && entry.knowsTransfer && entry.offers < m_files.size();
        const bool onTheirWay = entry.offers < entry.offeredEnd && now - entry.offeredMs < kOfferGapMs;
        if (!lacks || onTheirWay) continue;
        first = std::min(first, entry.offers);
        entry.offeredMs = now;
        entry.offeredEnd = std::min(static_cast<uint32_t>(m_files.size()), entry.offers + kOffersPerTurn);
    }
    const size_t end = std::min<size_t>(m_files.size(), size_t{first} + kOffersPerTurn);
    for (size_t i = first; i < end; ++i) {
        Offer offer;
        offer.index = static_cast<uint32_t>(i);
        offer.firstBlock = m_firstBlocks[i];
        offer.size = m_files[i]->Size();
        offer.sha256 = m_files[i]->Sha256();
        offer.name = m_files[i]->Name();
        link.Send(Encode({m_ullTransfer, offer}));
    }
}

bool CSendEngine::SendBlocks(uint64_t now, ILinkOut& link) {
    const uint64_t limit = m_receivers.Slowest(now, m_sent.Last()) + kLeadBlocks;
    for (uint32_t sent = 0; sent < kMaxQueuedFrames; ++sent) {
        if (!m_pace.MayQueue(link.Queued()) || m_sent.Last() >= limit || !m_rate.MaySend(now)) return false;
        uint32_t block = m_receivers.NextLacking(m_nCursor);
        if (block == CBlockRanges::kNone) block = m_receivers.NextLacking(0);
        if (block == CBlockRanges::kNone || !SendBlock(block, link)) return false;
    }
    return true;
}

bool CSendEngine::SendBlock(uint32_t block, ILinkOut& link) {
    m_receivers.OnSent(block);
    m_nCursor = block + 1;
    const auto after = std::upper_bound(m_firstBlocks.begin(), m_firstBlocks.end(), block);
    const auto index = static_cast<size_t>(after - m_firstBlocks.begin()) - 1;
    IFileSource& file = *m_files[index];
    const uint32_t local = block - m_firstBlocks[index];
    char* data = m_frame.data() + kBlockHeaderLength;
    if (!file.Read(local, data)) {
        Fail(file);
        return false;
    }
    const uint32_t length = BlockLength(file.Size(), local);
    m_sent.Add(block);
    PutBlockHeader(m_frame.data(), m_ullTransfer, m_sent.Last(), block, BlockChecksum(data, length));
    link.Send(m_frame.data(), static_cast<int>(kBlockHeaderLength + length));
    m_pace.OnQueued();
    m_rate.OnSent(length);
    m_ullSentBytes += length;
    return true;
}

void CSendEngine::CheckEnd(uint64_t now) {
    if (Over()) return;
    uint32_t alive = 0, unfinished = 0;
    for (const auto& [id, entry] : m_receivers.Entries()) {
        if (!CReceiverTable::Alive(entry, now)) continue;
        ++alive;
        unfinished += !entry.Ended() && now - entry.movedMs < kReceiverStuckMs;
    }
    if (alive > 0) m_ullAliveMs = now;
    if (m_options.keep) return;
    if (m_nComplete >= m_options.receivers && unfinished == 0)
        m_state = SendState::Done;
    else if (now - m_ullAliveMs > m_options.waitMs)
        m_state = m_nFailed + m_nComplete > 0 ? SendState::Failed : SendState::NobodyThere;
    if (m_state == SendState::Failed)
        m_strProblem =
            m_nFailed > 0 ? std::string("a receiver failed: ") + FailureText(m_lastFailure) : "too few receivers came";
}

void CSendEngine::Leave(ILinkOut& link, ByeReason reason) {
    if (!m_confirms.empty()) SendConfirm(link);
    link.Send(Encode({m_ullTransfer, SenderBye{reason}}));
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
    progress.leastBytes = progress.unfinished + progress.complete > 0 ? least : 0;
    return progress;
}

}  // namespace lumo
