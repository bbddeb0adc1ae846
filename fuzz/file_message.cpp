// Frames of the far side of the file protocol into a receiver and a sender, with memory in place of the disk.
#include "support/records.h"
#include "support/target.h"
#include "tools/lumo/transfer/receive_engine.h"
#include "tools/lumo/transfer/send_engine.h"
#include "tools/lumo/transfer/tree_source.h"

#include <cstdlib>

namespace fuzz::file_message {

using namespace lumo;

constexpr uint64_t kTransfer = 0x1122334455667788;

/// The middle ones by what decoding says, and then by the place of the body among those that a message may have.
const std::vector<std::string> kReached{
    "stored",     "foreign", "other version", "malformed", "beacon",       "offer",           "block", "confirm",
    "sender bye", "status",  "receiver bye",  "answered",  "taken sealed", "names newcomers", "made",  "tree offered"};
void TakeInput(const uint8_t* data, size_t size);
CFuzzTarget g_target("file_message", kReached, TakeInput);

class CMemoryStore : public IFileStore {
public:
    explicit CMemoryStore(const Offer& offer) : m_have(BlocksOf(offer.size)), m_bLate(!offer.traits.HasContent()) {}
    const CBlockMap& Have() const override { return m_have; }
    bool Write(uint32_t block, const char* data, uint32_t length, uint64_t) override {
        if (std::string(data, length).size() != length) std::abort();
        m_have.Set(block);
        g_target.Hit("stored");
        return true;
    }
    StoreStep Verify() override { return StoreStep::Good; }
    StoreStep Repair() override { return StoreStep::Good; }
    bool Commit() override {
        if (m_bLate) g_target.Hit("made");
        return true;
    }
    void Flush() override {}
    const std::string& Problem() const override { return m_problem; }
    Failure Reason() const override { return Failure::None; }

private:
    CBlockMap m_have;
    const bool m_bLate;
    std::string m_problem;
};

class CMemoryFolder : public IFileFolder {
public:
    OpenResult Open(const Offer& offer, std::unique_ptr<IFileStore>& store, std::string& problem,
                    Failure& reason) override {
        if (offer.size > (64U << 20)) {
            problem = "too large";
            reason = Failure::NoSpace;
            return OpenResult::Refused;
        }
        store = std::make_unique<CMemoryStore>(offer);
        return OpenResult::Fetch;
    }
    uint64_t FreeBytes() const override { return 64U << 20; }
};

class CMemorySource : public IFileSource {
public:
    const std::string& Name() const override { return m_name; }
    uint64_t Size() const override { return 3 * kBlockSize / 2; }
    bool HashStep() override { return true; }
    uint64_t HashedBytes() const override { return Size(); }
    const Digest& Sha256() const override { return m_digest; }
    bool Read(uint32_t block, char* buffer) override {
        std::fill_n(buffer, BlockLength(Size(), block), 'x');
        return true;
    }
    const std::string& Problem() const override { return m_problem; }

private:
    std::string m_name = "file";
    std::string m_problem;
    Digest m_digest{};
};

class CSinkLink final : public ILinkOut {
public:
    bool Ready() const override { return true; }
    uint32_t Queued() const override { return 0; }
    void Send(const char* data, int length) override {
        Message message;
        // What an engine says must be right itself.
        if (Decode(data, static_cast<size_t>(length), message) != DecodeResult::Ok) std::abort();
        g_target.Hit("answered");
        const auto* beacon = std::get_if<Beacon>(&message.body);
        const auto* offer = std::get_if<Offer>(&message.body);
        if (offer && !offer->traits.HasContent()) g_target.Hit("tree offered");
        if (beacon && !beacon->receivers.empty()) g_target.Hit("names newcomers");
        const bool sealed = message.version == kSealedVersion && message.transfer == kTransfer;
        if (sealed && std::holds_alternative<Status>(message.body)) g_target.Hit("taken sealed");
    }
};

void Look(const std::string& frame) {
    Message message;
    const DecodeResult result = Decode(frame.data(), frame.size(), message);
    const size_t which = result == DecodeResult::Ok ? 3 + message.body.index() : static_cast<size_t>(result);
    g_target.Hit(kReached[which]);
}

void Exchange(const std::vector<std::string>& frames, bool sealed, bool tree) {
    CMemoryFolder folder;
    CSinkLink link;
    CReceiveEngine receiver(42, folder, 60000, sealed);
    std::vector<std::unique_ptr<IFileSource>> files;
    files.push_back(std::make_unique<CMemorySource>());
    if (tree) files.push_back(std::make_unique<CEntrySource>("folder", EntryTraits{EntryKind::Folder}));
    SendOptions options;
    options.sealed = sealed;
    CSendEngine sender(kTransfer, std::move(files), options);
    uint64_t now = 1000;
    for (const std::string& frame : frames) {
        receiver.OnFrame(frame.data(), frame.size(), now);
        sender.OnFrame(frame.data(), frame.size(), now);
        for (int i = 0; i < 4; ++i, now += 100) {
            receiver.Tick(now, link);
            sender.Tick(now, link);
        }
    }
    receiver.Leave(link, ByeReason::Interrupted);
    sender.Leave(link, ByeReason::Interrupted);
}

void TakeInput(const uint8_t* data, size_t size) {
    const std::vector<std::string> frames = Records(data, size);
    for (const std::string& frame : frames) Look(frame);
    for (const bool sealed : {false, true}) {
        for (const bool tree : {false, true}) Exchange(frames, sealed, tree);
    }
}

}  // namespace fuzz::file_message
