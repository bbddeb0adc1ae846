// Sender and receivers of the file protocol around a relay that exists only in memory, on a clock that only tests move.
#pragma once

#include "tools/lumo/transfer/receive_engine.h"
#include "tools/lumo/transfer/send_engine.h"

#include <gtest/gtest.h>

#include <array>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace sim {

std::string RandomBytes(size_t length, uint32_t seed);

/// A file in memory. `liesAboutHash` promises another digest than its own.
class CMemorySource : public lumo::IFileSource {
public:
    CMemorySource(std::string name, std::string data, bool liesAboutHash = false);
    const std::string& Name() const override { return m_strName; }
    uint64_t Size() const override { return m_strData.size(); }
    bool HashStep() override;
    uint64_t HashedBytes() const override { return m_strData.size(); }
    const lumo::Digest& Sha256() const override { return m_digest; }
    bool Read(uint32_t block, char* buffer) override;
    const std::string& Problem() const override { return m_strProblem; }

private:
    const std::string m_strName;
    const std::string m_strData;
    lumo::Digest m_digest{};
    std::string m_strProblem;
    bool m_bLies;
};

using Files = std::vector<std::unique_ptr<lumo::IFileSource>>;

inline Files One(const std::string& data, const std::string& name = "file") {
    Files files;
    files.push_back(std::make_unique<CMemorySource>(name, data));
    return files;
}

inline lumo::SendOptions Wanted(uint32_t receivers) {
    lumo::SendOptions options;
    options.receivers = receivers;
    return options;
}

inline const std::string& Megabytes(size_t count) {
    static std::map<size_t, std::string> made;
    std::string& data = made[count];
    if (data.empty()) data = RandomBytes(count * 1024 * 1024, 1);
    return data;
}

/// What a receiver's disk keeps when its process ends.
struct MemoryDisk {
    struct Part {
        std::string data;
        std::vector<bool> held;
    };
    std::map<std::string, std::string> files;
    std::map<std::string, Part> parts;  ///< by name and digest
    lumo::Failure refuseAll = lumo::Failure::None;
    uint64_t freeBytes = UINT64_MAX;
};

class CMemoryFolder : public lumo::IFileFolder {
public:
    explicit CMemoryFolder(MemoryDisk& disk) : m_disk(disk) {}
    lumo::OpenResult Open(const lumo::Offer& offer, std::unique_ptr<lumo::IFileStore>& store, std::string& problem,
                          lumo::Failure& reason) override;
    uint64_t FreeBytes() const override { return m_disk.freeBytes; }

private:
    MemoryDisk& m_disk;
};

/// Runs everything, one millisecond after the other.
class CTransferSim {
public:
    struct Receiver;

    /// Frames a millisecond that the sender's library and each receiver's path carry.
    double senderRate = 40;
    /// The sender has its second channel too.
    bool twoLanes = false;
    /// Called for each frame that reaches the relay from the sender; false drops it for everybody.
    std::function<bool(std::string& frame)> downHook;

    /// A new sender process; the old one is gone without a word.
    void StartSender(std::vector<std::unique_ptr<lumo::IFileSource>> files, lumo::SendOptions options = {});
    Receiver& AddReceiver(MemoryDisk& disk, double rate = 40, uint64_t waitMs = 60000);
    /// As kill -9: the process is gone, the disk stays.
    void Kill(Receiver& receiver);
    /// It takes another channel of the sender from here on; what was in flight to it is lost.
    void MoveTo(Receiver& receiver, size_t lane);
    /// Everything in flight is lost and nobody is connected until `milliseconds` have passed.
    void CutAll(uint64_t milliseconds);

    /// Until `done`, at most `milliseconds`; whether it came to that.
    bool RunUntil(const std::function<bool()>& done, uint64_t milliseconds);
    void Run(uint64_t milliseconds) {
        RunUntil([] { return false; }, milliseconds);
    }
    bool RunToEnd(uint64_t milliseconds);

    lumo::CSendEngine& Sender() { return *m_pSender; }
    lumo::SendProgress SenderProgress() const { return m_pSender->Progress(m_now); }
    uint64_t Now() const { return m_now; }
    /// As if a subscriber had sent this.
    void InjectUp(const std::string& frame, size_t lane = 0) { m_up.emplace_back(lane, frame); }
    void InjectDown(const std::string& frame) { FanOut(frame, 0); }
    /// The most that ever waited at the relay for one receiver.
    size_t MostWaitingBytes() const { return m_nMostWaiting; }
    uint64_t BlocksLeft() const { return m_blocksLeft[0] + m_blocksLeft[1]; }
    uint64_t BlocksLeft(size_t lane) const { return m_blocksLeft.at(lane); }

    struct Link final : lumo::ILinkOut {
        bool ready = true;
        std::deque<std::string> queue;
        using lumo::ILinkOut::Send;
        bool Ready() const override { return ready; }
        uint32_t Queued() const override { return static_cast<uint32_t>(queue.size()); }
        void Send(const char* data, int length) override { queue.emplace_back(data, static_cast<size_t>(length)); }
    };
    struct Receiver {
        Receiver(uint64_t id, MemoryDisk& disk, double framesPerMs, uint64_t waitMs)
            : folder(disk), engine(id, folder, waitMs), rate(framesPerMs) {}
        CMemoryFolder folder;
        lumo::CReceiveEngine engine;
        Link up;
        std::deque<std::string> relayQueue;
        size_t waitingBytes = 0;
        size_t lane = 0;
        double rate;
        double credit = 0;
        bool alive = true;
        bool frozen = false;  ///< reads and says nothing
        bool deaf = false;    ///< says it is there, but nothing reaches it
        bool left = false;
        uint64_t nextTick = 0;
    };

private:
    void Step();
    void StepSender();
    void StepLane(size_t lane);
    lumo::LaneLinks Links() { return {&m_senderLinks[0], twoLanes ? &m_senderLinks[1] : nullptr}; }
    void StepReceiver(Receiver& receiver);
    void FanOut(const std::string& frame, size_t lane);

    uint64_t m_now = 1000;
    std::unique_ptr<lumo::CSendEngine> m_pSender;
    std::array<Link, lumo::kMaxLanes> m_senderLinks;
    std::array<double, lumo::kMaxLanes> m_senderCredit{};
    uint64_t m_senderNextTick = 0;
    std::deque<std::pair<size_t, std::string>> m_up;  // the lane and what came by it
    std::vector<std::unique_ptr<Receiver>> m_receivers;
    uint64_t m_nNextID = 100;
    uint64_t m_nNextTransfer = 7000;
    uint64_t m_cutUntil = 0;
    size_t m_nMostWaiting = 0;
    std::array<uint64_t, lumo::kMaxLanes> m_blocksLeft{};
};

/// One simulation and the disk of its first receiver.
class CTransferTest : public ::testing::Test {
protected:
    CTransferSim sim;
    MemoryDisk disk;
    lumo::SendOptions options;
};

}  // namespace sim
