// Sender and receivers of the file protocol around a relay that exists only in memory, on a clock that only tests move.
#pragma once

#include "support/scratch.h"
#include "tools/lumo/transfer/receive_engine.h"
#include "tools/lumo/transfer/send_engine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace sim {

using namespace lumo;

inline Digest DigestOf(const std::string& data) {
    CSha256 hash;
    hash.Add(data.data(), data.size());
    Digest digest;
    hash.Finish(digest);
    return digest;
}

/// A file in memory, which may promise another digest than its own.
class CMemorySource : public IFileSource {
public:
    CMemorySource(std::string name, std::string data, bool lies = false)
        : m_strName(std::move(name)), m_strData(std::move(data)), m_digest(DigestOf(m_strData)) {
        if (lies) m_digest[0] ^= 1;
    }
    const std::string& Name() const override { return m_strName; }
    uint64_t Size() const override { return m_strData.size(); }
    bool HashStep() override { return true; }
    uint64_t HashedBytes() const override { return m_strData.size(); }
    const Digest& Sha256() const override { return m_digest; }
    bool Read(uint32_t block, char* buffer) override {
        std::memcpy(buffer, m_strData.data() + size_t{block} * kBlockSize, BlockLength(m_strData.size(), block));
        return true;
    }
    const std::string& Problem() const override { return m_strProblem; }

private:
    const std::string m_strName, m_strData, m_strProblem;
    Digest m_digest;
};

using Files = std::vector<std::unique_ptr<IFileSource>>;

inline Files One(const std::string& data, const std::string& name = "file", bool lies = false) {
    Files files;
    files.push_back(std::make_unique<CMemorySource>(name, data, lies));
    return files;
}

inline const std::string& Megabytes(size_t count) {
    static std::map<size_t, std::string> made;
    std::string& data = made[count];
    if (data.empty()) data = RandomBytes(count << 20);
    return data;
}

/// What a receiver's disk keeps when its process ends.
struct MemoryDisk {
    struct Part {
        std::string data;
        CBlockMap held;
    };
    std::map<std::string, std::string> files;
    std::map<Digest, Part> parts;
    uint64_t freeBytes = UINT64_MAX;
};

/// Writes through to the disk at once, as a page cache does.
class CMemoryStore : public IFileStore {
public:
    CMemoryStore(MemoryDisk& disk, const Offer& offer)
        : m_disk(disk), m_offer(offer), m_part(disk.parts[offer.sha256]) {
        if (!m_part.data.empty()) return;
        m_part.data.resize(offer.size);
        m_part.held = CBlockMap(BlocksOf(offer.size));
    }
    const CBlockMap& Have() const override { return m_part.held; }
    bool Write(uint32_t block, const char* data, uint32_t length, uint64_t) override {
        std::memcpy(m_part.data.data() + size_t{block} * kBlockSize, data, length);
        m_part.held.Set(block);
        return true;
    }
    StoreStep Verify() override { return DigestOf(m_part.data) == m_offer.sha256 ? StoreStep::Good : StoreStep::Bad; }
    StoreStep Repair() override {
        m_part.held.ClearAll();
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
    const std::string m_strProblem;
};

class CMemoryFolder : public IFileFolder {
public:
    explicit CMemoryFolder(MemoryDisk& disk) : m_disk(disk) {}
    OpenResult Open(const Offer& offer, std::unique_ptr<IFileStore>& store, std::string&, Failure&) override {
        store = std::make_unique<CMemoryStore>(m_disk, offer);
        return OpenResult::Fetch;
    }
    uint64_t FreeBytes() const override { return m_disk.freeBytes; }

private:
    MemoryDisk& m_disk;
};

struct Link final : ILinkOut {
    bool ready = true;
    std::deque<std::string> queue;
    using ILinkOut::Send;
    bool Ready() const override { return ready; }
    uint32_t Queued() const override { return static_cast<uint32_t>(queue.size()); }
    void Send(const char* data, int length) override { queue.emplace_back(data, static_cast<size_t>(length)); }
};

/// A process that receives, and what the relay keeps for it.
struct Receiver {
    Receiver(uint64_t id, MemoryDisk& its, double framesPerMs, uint64_t waitMs, bool sealed)
        : disk(its), folder(its), engine(id, folder, waitMs, sealed), rate(framesPerMs) {}

    bool Has(const std::string& data) const { return disk.files["file"] == data; }
    uint64_t Arrived() const { return engine.Progress().arrivedBytes; }
    uint64_t Held() const { return engine.Progress().heldBytes; }
    /// What is on its way to it is lost.
    void Lose() {
        relayQueue.clear();
        waitingBytes = framesOfOldLane = 0;
    }
    /// As kill -9: the process is gone, the disk stays.
    void Kill() { left = true; }
    /// It takes another channel of the sender from here on. What is on its way is lost, or still comes.
    void MoveTo(size_t another, bool lose = true) {
        lane = another;
        framesOfOldLane = relayQueue.size();
        if (lose) Lose();
        engine.OnLinkChanged();
    }

    MemoryDisk& disk;
    CMemoryFolder folder;
    CReceiveEngine engine;
    Link up;
    std::deque<std::string> relayQueue;
    size_t waitingBytes = 0, lane = 0, framesOfOldLane = 0;
    double rate, credit = 0;
    uint64_t upMs = 0;    ///< how long its frames are on their way
    bool frozen = false;  ///< reads and says nothing
    bool deaf = false;    ///< says it is there, but nothing reaches it
    bool left = false;
    uint64_t nextTick = 0;
};

/// Runs everything, one millisecond after the other.
class CTransferSim {
public:
    static constexpr uint64_t kFirstTransfer = 7000, kFirstReceiver = 100;

    double senderRate = 40;  ///< frames a millisecond that the sender's library carries
    bool twoLanes = false;   ///< the sender has its second channel too
    bool sealed = false;     ///< all speak as those do whose links seal
    /// Called for each frame that reaches the relay from the sender; false drops it for everybody.
    std::function<bool(std::string& frame)> downHook;

    /// A new sender process; the old one is gone without a word.
    void StartSender(Files files, SendOptions options = {}) {
        options.sealed = sealed;
        sender = std::make_unique<CSendEngine>(m_nNextTransfer++, std::move(files), options);
        for (Link& link : m_senderLinks) link.queue.clear();
        m_senderNextTick = 0;
    }
    /// With a disk of its own, or another's.
    Receiver& AddReceiver(double rate = 40, uint64_t waitMs = 60000, MemoryDisk* disk = nullptr) {
        return m_receivers.emplace_back(m_nNextID++, disk ? *disk : m_disks.emplace_back(), rate, waitMs, sealed);
    }
    /// Everything in flight is lost and nobody is connected until `milliseconds` have passed.
    void CutAll(uint64_t milliseconds) {
        m_cutUntil = now + milliseconds;
        SetReady(false);
        m_up.clear();
        for (Link& link : m_senderLinks) link.queue.clear();
        for (Receiver& receiver : m_receivers) receiver.Lose();
    }
    /// Until `done`, at most `milliseconds`; whether it came to that.
    bool RunUntil(const std::function<bool()>& done, uint64_t milliseconds) {
        for (uint64_t i = 0; i < milliseconds && !done(); ++i) Step();
        return done();
    }
    void Run(uint64_t milliseconds) {
        RunUntil([] { return false; }, milliseconds);
    }
    bool RunToEnd(uint64_t milliseconds) {
        const auto left = [](const Receiver& receiver) { return receiver.left; };
        return RunUntil([&] { return sender->Over() && std::all_of(m_receivers.begin(), m_receivers.end(), left); },
                        milliseconds);
    }
    bool WaitForBytes(const Receiver& receiver, uint64_t bytes) {
        return RunUntil([&] { return receiver.Held() >= bytes; }, 60000);
    }
    SendProgress Progress() const { return sender->Progress(now); }
    /// As if a subscriber had sent this.
    void InjectUp(const std::string& frame) { m_up.insert({now, {0, frame}}); }

    std::unique_ptr<CSendEngine> sender;
    uint64_t now = 1000;
    size_t mostWaiting = 0;                        ///< bytes that ever waited at the relay for one receiver
    std::array<uint64_t, kMaxLanes> blocksLeft{};  ///< the sender, on each lane

private:
    /// What a receiver has sent, and the lane that it comes by.
    struct Upward {
        size_t lane;
        std::string frame;
    };

    LaneLinks Links() { return {&m_senderLinks[0], twoLanes ? &m_senderLinks[1] : nullptr}; }
    void SetReady(bool ready) {
        for (Link& link : m_senderLinks) link.ready = ready;
        for (Receiver& receiver : m_receivers) receiver.up.ready = ready;
    }
    void Reconnect() {
        m_cutUntil = 0;
        SetReady(true);
        for (size_t lane = 0; lane < kMaxLanes && sender; ++lane) sender->OnLinkReady(lane);
        for (Receiver& receiver : m_receivers) receiver.engine.OnLinkReady();
    }
    void Step() {
        ++now;
        if (m_cutUntil != 0 && now >= m_cutUntil) Reconnect();
        if (sender) StepSender();
        for (Receiver& receiver : m_receivers)
            if (!receiver.frozen && !receiver.left) StepReceiver(receiver);
    }
    void StepSender() {
        for (; !m_up.empty() && m_up.begin()->first <= now; m_up.erase(m_up.begin())) {
            const auto& [lane, frame] = m_up.begin()->second;
            sender->OnFrame(frame.data(), frame.size(), now, lane);
            m_senderNextTick = now;
        }
        for (int turn = 0; turn < 4 && m_senderNextTick <= now && !sender->Over(); ++turn)
            m_senderNextTick = now + sender->Tick(now, Links());
        if (sender->State() == SendState::Done) sender->Leave(Links(), ByeReason::Done);
        for (size_t lane = 0; lane < kMaxLanes; ++lane) StepLane(lane);
    }
    void StepLane(size_t lane) {
        double& credit = m_senderCredit.at(lane);
        std::deque<std::string>& queue = m_senderLinks.at(lane).queue;
        credit = std::min(credit + senderRate, senderRate + 1);
        for (; credit >= 1 && !queue.empty(); credit -= 1) {
            std::string frame = std::move(queue.front());
            queue.pop_front();
            if (downHook && !downHook(frame)) continue;
            blocksLeft.at(lane) += frame[5] == static_cast<char>(MessageType::Block) ? 1 : 0;
            FanOut(frame, lane);
        }
    }
    void FanOut(const std::string& frame, size_t lane) {
        for (Receiver& receiver : m_receivers) {
            if (receiver.lane != lane || receiver.left || !receiver.up.ready || receiver.deaf) continue;
            receiver.relayQueue.push_back(frame);
            receiver.waitingBytes += frame.size();
            mostWaiting = std::max(mostWaiting, receiver.waitingBytes);
        }
    }
    void StepReceiver(Receiver& receiver) {
        receiver.credit = std::min(receiver.credit + receiver.rate, receiver.rate + 1);
        for (; receiver.credit >= 1 && !receiver.relayQueue.empty(); receiver.credit -= 1) {
            const std::string frame = std::move(receiver.relayQueue.front());
            receiver.relayQueue.pop_front();
            receiver.waitingBytes -= frame.size();
            const bool old = receiver.framesOfOldLane > 0;
            receiver.framesOfOldLane -= old ? 1 : 0;
            receiver.engine.OnFrame(frame.data(), frame.size(), now, !old);
            receiver.nextTick = now;
        }
        if (receiver.nextTick <= now) receiver.nextTick = now + receiver.engine.Tick(now, receiver.up);
        if (receiver.engine.Over()) {
            const bool done = receiver.engine.State() == ReceiveState::Done;
            receiver.engine.Leave(receiver.up, done ? ByeReason::Done : ByeReason::Failed);
            receiver.left = true;
        }
        for (std::string& frame : receiver.up.queue)
            m_up.insert({now + receiver.upMs, {receiver.lane, std::move(frame)}});
        receiver.up.queue.clear();
    }

    std::array<Link, kMaxLanes> m_senderLinks;
    std::array<double, kMaxLanes> m_senderCredit{};
    uint64_t m_senderNextTick = 0;
    std::multimap<uint64_t, Upward> m_up;  // by when it is there
    std::list<MemoryDisk> m_disks;
    std::list<Receiver> m_receivers;
    uint64_t m_nNextID = kFirstReceiver;
    uint64_t m_nNextTransfer = kFirstTransfer;
    uint64_t m_cutUntil = 0;
};

}  // namespace sim
