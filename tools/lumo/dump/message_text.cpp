#include "tools/lumo/dump/message_text.h"

#include "tools/lumo/transfer/file_name.h"
#include "tools/lumo/transfer/messages.h"
#include "tools/lumo/transfer/sha256.h"

namespace lumo {
namespace {

std::string N(uint64_t value) { return std::to_string(value); }

const char* ByeText(ByeReason reason) {
    switch (reason) {
        case ByeReason::Done:
            return "done";
        case ByeReason::Interrupted:
            return "interrupted";
        case ByeReason::Failed:
            return "failed";
    }
    return "";
}

const char* StateText(ReceiverState state) {
    switch (state) {
        case ReceiverState::Waiting:
            return "waiting";
        case ReceiverState::Receiving:
            return "receiving";
        case ReceiverState::Verifying:
            return "verifying";
        case ReceiverState::Complete:
            return "complete";
        case ReceiverState::Failed:
            return "failed";
    }
    return "";
}

std::string Describe(const std::monostate&) { return ""; }
std::string Describe(const Beacon& beacon) {
    if (beacon.state == SenderState::Preparing) return "beacon, preparing";
    return "beacon, " + N(beacon.files) + " files, " + N(beacon.blocks) + " blocks, " + N(beacon.bytes) +
           " bytes, serial " + N(beacon.serial);
}
std::string Describe(const Offer& offer) {
    const std::string head = "offer " + N(offer.index) + ", ", name = "\"" + Printable(offer.name) + "\"";
    const EntryTraits& traits = offer.traits;
    if (traits.kind == EntryKind::Folder) return head + "folder " + name;
    if (traits.kind == EntryKind::Link) return head + "link " + name + " to \"" + Printable(traits.target) + "\"";
    return head + (traits.kind == EntryKind::Text ? "text, " : name + ", ") + N(offer.size) + " bytes from block " +
           N(offer.firstBlock) + ", SHA-256 " + HexOf(offer.sha256) + (traits.executable ? ", executable" : "");
}
std::string Describe(const Block& block) {
    return "block " + N(block.block) + ", serial " + N(block.serial) + ", " + N(block.length) + " bytes";
}
std::string Describe(const Confirm& confirm) { return "confirms " + N(confirm.receivers.size()) + " receivers"; }
std::string Describe(const SenderBye& bye) { return std::string("goodbye of the sender, ") + ByeText(bye.reason); }
std::string Describe(const Status& status) {
    uint64_t lacking = 0;
    for (const BlockRange& range : status.lacking) lacking += range.count;
    std::string text = "receiver " + N(status.receiver) + " " + StateText(status.state);
    if (status.failure != Failure::None) text += std::string(" (") + FailureText(status.failure) + ")";
    return text + ", serial " + N(status.serial) + ", " + N(status.offers) + " offers, " + N(status.bytes) +
           " bytes held, lacks " + N(lacking) + " blocks in " + N(status.lacking.size()) + " ranges";
}
std::string Describe(const ReceiverBye& bye) {
    return "goodbye of receiver " + N(bye.receiver) + ", " + ByeText(bye.reason);
}

}  // namespace

std::string DescribeMessage(const uint8_t* data, size_t length) {
    Message message;
    if (Decode(reinterpret_cast<const char*>(data), length, message) != DecodeResult::Ok) return "";
    const std::string text = std::visit([](const auto& body) { return Describe(body); }, message.body);
    return " [transfer " + N(message.transfer) + ": " + text + "]";
}

}  // namespace lumo
