// What the sender's engine puts on one lane.
#include "tools/lumo/transfer/send_engine.h"

#include <lumomedia/seal.h>

#include <algorithm>
#include <utility>

namespace lumo {

void CSendEngine::SendBeacon(uint64_t now, size_t index, ILinkOut& link) {
    CSendLane& lane = m_lanes.at(index);
    Beacon beacon;
    beacon.serial = lane.sent.Last();
    if (m_state == SendState::Serving) {
        beacon.state = SenderState::Serving;
        beacon.files = static_cast<uint32_t>(m_files.size());
        beacon.blocks = m_nBlocks;
        beacon.bytes = m_ullBytes;
        if (m_options.sealed) beacon.receivers = m_receivers.Newcomers(index, now);
    }
    link.Send(Put(std::move(beacon)));
    lane.beaconDue = false;
    lane.beaconMs = now;
    lane.behindBeacon = 0;
}

void CSendEngine::SendConfirm(CSendLane& lane, ILinkOut& link) {
    link.Send(Put(Confirm{lane.confirms}));
    ++lane.behindBeacon;
    lane.confirms.clear();
}

void CSendEngine::SendOffers(uint64_t now, size_t index, ILinkOut& link) {
    uint32_t first = kMaxEntries;
    for (auto& [id, entry] : m_receivers.Entries()) {
        const bool here = entry.lane == index && CReceiverTable::Alive(entry, now);
        const bool lacks = here && entry.knowsTransfer && entry.offers < m_files.size();
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
        offer.traits = m_files[i]->Traits();
        link.Send(Put(std::move(offer)));
        ++m_lanes.at(index).behindBeacon;
    }
}

bool CSendEngine::SendBlocks(uint64_t now, size_t index, ILinkOut& link) {
    CSendLane& lane = m_lanes.at(index);
    const uint64_t limit = m_receivers.Slowest(now, index, lane.sent.Last()) + lane.lead.Blocks();
    for (uint32_t sent = 0; sent < kMaxQueuedFrames; ++sent) {
        if (!lane.pace.MayQueue(link.Queued()) || lane.sent.Last() >= limit || !m_rate.MaySend(now)) return false;
        uint32_t block = m_receivers.NextLacking(index, lane.cursor);
        if (block == CBlockRanges::kNone) block = m_receivers.NextLacking(index, 0);
        if (block == CBlockRanges::kNone) return false;
        m_receivers.OnSent(index, block);
        if (!SendBlock(now, block, lane, link)) return false;
    }
    return true;
}

bool CSendEngine::SendBlock(uint64_t now, uint32_t block, CSendLane& lane, ILinkOut& link) {
    lane.cursor = block + 1;
    const auto after = std::upper_bound(m_firstBlocks.begin(), m_firstBlocks.end(), block);
    const auto index = static_cast<size_t>(after - m_firstBlocks.begin()) - 1;
    if (index != m_nRead) m_files[std::exchange(m_nRead, index)]->Rest();
    IFileSource& file = *m_files[index];
    const uint32_t local = block - m_firstBlocks[index];
    char* const frame = m_frame.data() + kSealRoomBefore;
    char* const data = frame + kBlockHeaderLength;
    if (!file.Read(local, data)) {
        Fail(file);
        return false;
    }
    const uint32_t length = BlockLength(file.Size(), local);
    lane.sent.Add(block, now);
    PutBlockHeader(frame, m_ullTransfer, Block{lane.sent.Last(), block, BlockChecksum(data, length)}, m_nVersion);
    link.SendInPlace(frame, static_cast<int>(kBlockHeaderLength + length));
    lane.pace.OnQueued();
    ++lane.behindBeacon;
    m_rate.OnSent(length);
    m_ullSentBytes += length;
    NoteLeft(block, index);
    return true;
}

void CSendEngine::NoteLeft(uint32_t block, size_t file) {
    if (m_left.Has(block)) return;
    m_left.Set(block);
    if (--m_waitingBlocks[file] == 0) m_sentFiles.push_back(file);
}

uint64_t CSendEngine::LeftOfCurrent() const {
    if (m_nRead >= m_waitingBlocks.size()) return 0;
    const uint64_t size = m_files[m_nRead]->Size();
    return std::min(size, uint64_t{BlocksOf(size) - m_waitingBlocks[m_nRead]} * kBlockSize);
}

}  // namespace lumo
