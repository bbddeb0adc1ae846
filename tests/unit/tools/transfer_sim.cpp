#include "unit/tools/transfer_sim.h"

#include <algorithm>
#include <cstring>

namespace sim {

using namespace lumo;

std::string RandomBytes(size_t length, uint32_t seed) {
    std::mt19937_64 random(seed);
    std::string bytes(length + 8, '\0');
    for (size_t at = 0; at < length; at += 8) {
        const uint64_t word = random();
        std::memcpy(bytes.data() + at, &word, sizeof word);
    }
    bytes.resize(length);
    return bytes;
}

CMemorySource::CMemorySource(std::string name, std::string data, bool liesAboutHash)
    : m_strName(std::move(name)), m_strData(std::move(data)), m_bLies(liesAboutHash) {}

bool CMemorySource::HashStep() {
    CSha256 hash;
    hash.Add(m_strData.data(), m_strData.size());
    hash.Finish(m_digest);
    if (m_bLies) m_digest[0] ^= 1;
    return true;
}

bool CMemorySource::Read(uint32_t block, char* buffer) {
    std::memcpy(buffer, m_strData.data() + size_t{block} * kBlockSize, BlockLength(m_strData.size(), block));
    return true;
}

namespace {

/// Writes through to the disk at once, as a page cache does.
class CMemoryStore : public IFileStore {
public:
    CMemoryStore(MemoryDisk& disk, const Offer& offer)
        : m_disk(disk),
          m_offer(offer),
          m_part(disk.parts[offer.name + HexOf(offer.sha256)]),
          m_have(BlocksOf(offer.size)) {
        m_part.data.resize(offer.size);
        m_part.held.resize(m_have.Blocks());
        for (uint32_t block = 0; block < m_have.Blocks(); ++block) {
            if (m_part.held[block]) m_have.Set(block);
        }
    }
    const CBlockMap& Have() const override { return m_have; }
    bool Write(uint32_t block, const char* data, uint32_t length, uint64_t) override {
        std::memcpy(m_part.data.data() + size_t{block} * kBlockSize, data, length);
        m_have.Set(block);
        m_part.held[block] = true;
        return true;
    }
    StoreStep Verify() override {
        CSha256 hash;
        hash.Add(m_part.data.data(), m_part.data.size());
        Digest digest;
        hash.Finish(digest);
        return digest == m_offer.sha256 ? StoreStep::Good : StoreStep::Bad;
    }
    StoreStep Repair() override {
        m_have.ClearAll();
        m_part.held.assign(m_part.held.size(), false);
        return StoreStep::Good;
    }
    bool Commit() override {
        m_disk.files[m_offer.name] = m_part.data;
        return true;
    }
    void Flush() override {}
    const std::string& Problem() const override { return m_strProblem; }
    Failure Reason() const override { return Failure::None; }

private:
    MemoryDisk& m_disk;
    const Offer m_offer;
    MemoryDisk::Part& m_part;
    CBlockMap m_have;
    std::string m_strProblem;
};

}  // namespace

OpenResult CMemoryFolder::Open(const Offer& offer, std::unique_ptr<IFileStore>& store, std::string& problem,
                               Failure& reason) {
    if (m_disk.refuseAll != Failure::None) {
        problem = "refused";
        reason = m_disk.refuseAll;
        return OpenResult::Refused;
    }
    store = std::make_unique<CMemoryStore>(m_disk, offer);
    return OpenResult::Fetch;
}

void CTransferSim::StartSender(std::vector<std::unique_ptr<IFileSource>> files, SendOptions options) {
    m_pSender = std::make_unique<CSendEngine>(m_nNextTransfer++, std::move(files), options);
    for (Link& link : m_senderLinks) link.queue.clear();
    m_senderNextTick = 0;
}

CTransferSim::Receiver& CTransferSim::AddReceiver(MemoryDisk& disk, double rate, uint64_t waitMs) {
    m_receivers.push_back(std::make_unique<Receiver>(m_nNextID++, disk, rate, waitMs));
    return *m_receivers.back();
}

void CTransferSim::Kill(Receiver& receiver) {
    receiver.alive = false;
    receiver.relayQueue.clear();
    receiver.waitingBytes = 0;
    receiver.up.queue.clear();
}

void CTransferSim::MoveTo(Receiver& receiver, size_t lane) {
    receiver.lane = lane;
    receiver.relayQueue.clear();
    receiver.waitingBytes = 0;
    receiver.engine.OnLinkChanged();
}

void CTransferSim::CutAll(uint64_t milliseconds) {
    m_cutUntil = m_now + milliseconds;
    for (Link& link : m_senderLinks) {
        link.queue.clear();
        link.ready = false;
    }
    m_up.clear();
    for (auto& receiver : m_receivers) {
        receiver->relayQueue.clear();
        receiver->waitingBytes = 0;
        receiver->up.queue.clear();
        receiver->up.ready = false;
    }
}

void CTransferSim::FanOut(const std::string& frame, size_t lane) {
    for (auto& receiver : m_receivers) {
        if (receiver->lane != lane || !receiver->alive || receiver->left || !receiver->up.ready || receiver->deaf)
            continue;
        receiver->relayQueue.push_back(frame);
        receiver->waitingBytes += frame.size();
        m_nMostWaiting = std::max(m_nMostWaiting, receiver->waitingBytes);
    }
}

void CTransferSim::StepSender() {
    while (!m_up.empty()) {
        const auto& [lane, frame] = m_up.front();
        m_pSender->OnFrame(frame.data(), frame.size(), m_now, lane);
        m_up.pop_front();
        m_senderNextTick = m_now;
    }
    for (int turn = 0; turn < 4 && m_senderNextTick <= m_now && !m_pSender->Over(); ++turn)
        m_senderNextTick = m_now + m_pSender->Tick(m_now, Links());
    if (m_pSender->Over() && m_pSender->State() == SendState::Done) m_pSender->Leave(Links(), ByeReason::Done);
    for (size_t lane = 0; lane < kMaxLanes; ++lane) StepLane(lane);
}

void CTransferSim::StepLane(size_t lane) {
    double& credit = m_senderCredit.at(lane);
    std::deque<std::string>& queue = m_senderLinks.at(lane).queue;
    credit = std::min(credit + senderRate, senderRate + 1);
    for (; credit >= 1 && !queue.empty(); credit -= 1) {
        std::string frame = std::move(queue.front());
        queue.pop_front();
        if (downHook && !downHook(frame)) continue;
        m_blocksLeft.at(lane) += frame.size() > kBlockHeaderLength && frame[5] == static_cast<char>(MessageType::Block);
        FanOut(frame, lane);
    }
}

void CTransferSim::StepReceiver(Receiver& receiver) {
    if (!receiver.alive || receiver.frozen || receiver.left) return;
    receiver.credit = std::min(receiver.credit + receiver.rate, receiver.rate + 1);
    for (; receiver.credit >= 1 && !receiver.relayQueue.empty(); receiver.credit -= 1) {
        const std::string frame = std::move(receiver.relayQueue.front());
        receiver.relayQueue.pop_front();
        receiver.waitingBytes -= frame.size();
        receiver.engine.OnFrame(frame.data(), frame.size(), m_now);
        receiver.nextTick = m_now;
    }
    if (receiver.nextTick <= m_now) receiver.nextTick = m_now + receiver.engine.Tick(m_now, receiver.up);
    if (receiver.engine.Over()) {
        const bool done = receiver.engine.State() == ReceiveState::Done;
        receiver.engine.Leave(receiver.up, done ? ByeReason::Done : ByeReason::Failed);
        receiver.left = true;
    }
    for (std::string& frame : receiver.up.queue) m_up.emplace_back(receiver.lane, std::move(frame));
    receiver.up.queue.clear();
}

void CTransferSim::Step() {
    ++m_now;
    if (m_cutUntil != 0 && m_now >= m_cutUntil) {
        m_cutUntil = 0;
        for (size_t lane = 0; lane < kMaxLanes; ++lane) {
            m_senderLinks.at(lane).ready = true;
            if (m_pSender) m_pSender->OnLinkReady(lane);
        }
        for (auto& receiver : m_receivers) {
            receiver->up.ready = true;
            receiver->engine.OnLinkReady();
        }
    }
    if (m_pSender) StepSender();
    for (auto& receiver : m_receivers) StepReceiver(*receiver);
}

bool CTransferSim::RunUntil(const std::function<bool()>& done, uint64_t milliseconds) {
    for (uint64_t i = 0; i < milliseconds; ++i) {
        if (done()) return true;
        Step();
    }
    return done();
}

bool CTransferSim::RunToEnd(uint64_t milliseconds) {
    return RunUntil(
        [this] {
            return m_pSender->Over() && std::all_of(m_receivers.begin(), m_receivers.end(), [](const auto& receiver) {
                       return !receiver->alive || receiver->left;
                   });
        },
        milliseconds);
}

}  // namespace sim
