#include "tools/lumo/dump/datagram_text.h"

#include "core/session_constants.h"
#include "core/wide/wide_packets.h"
#include "core/wire/commands.h"
#include "core/wire/wire_io.h"
#include "lumomedia/packet.h"
#include "platform/lumonet/lumonet.h"
#include "tools/lumo/dump/board_text.h"
#include "tools/lumo/dump/message_text.h"
#include "tools/lumo/dump/packet.h"
#include "tools/lumo/dump/sealed_text.h"
#include "tools/lumo/dump/wire_names.h"

#include <algorithm>

namespace lumo {
namespace {

std::string DescribeFields(const wire::CommandRow& row, wire::CWireReader& reader) {
    std::string text;
    for (wire::Field field : row.fields) {
        if (field == wire::Field::None) break;
        const uint32_t value = field == wire::Field::RelayPort ? reader.U16() : reader.U32();
        text +=
            std::string(" ") + FieldName(field) + " " + (IsAddress(field) ? GetIpAddr(value) : std::to_string(value));
    }
    return text;
}

/// What a wide session says in a data packet's header: an offer, or the whole number and which transmission it is.
std::string DescribeWideData(const char* packet) {
    if (wide::ReadOffer(packet) != 0) return ", offers a wide session";
    static const char kNothing[8] = {};
    if (std::memcmp(packet + 4, kNothing, sizeof kNothing) == 0) return "";
    wire::CWireReader reader(packet + 4, 5);
    const uint32_t upper = reader.U16(), transmission = uint32_t{reader.U8()} << 16 | reader.U16();
    return ", number " + std::to_string(upper << 16 | CSCTPPacket(packet, session::kHeaderLen).GetSequence()) +
           ", transmission " + std::to_string(transmission);
}

std::string DescribeWideAck(const char* packet, int length) {
    wide::Ack ack;
    if (!wide::LooksLikeAnswer(packet) || !wide::ReadAck(packet, length, ack)) return "";
    std::string text =
        ", of a wide session: " + std::to_string(ack.delivered + 1) + " delivered, room " + std::to_string(ack.room);
    if (ack.transmission != wide::kNoTransmission)
        text +=
            ", transmission " + std::to_string(ack.transmission) + " waited " + std::to_string(ack.waitedUs) + " us";
    for (int i = 0; i < ack.rangeCount; ++i) {
        const wide::Range& range = ack.ranges[static_cast<size_t>(i)];
        const uint32_t first = ack.delivered + range.first;
        text += (i == 0 ? ", also " : " ") + std::to_string(first) + "-" + std::to_string(first + range.count - 1);
    }
    return text;
}

std::string DescribeSessionPacket(wire::Kind kind, const char* data, int length) {
    if (length < session::kHeaderLen) return ": too short for a session packet";
    CSCTPPacket packet(data, length);
    const std::string sequence = " seq " + std::to_string(packet.GetSequence());
    if (packet.GetVersion() != 0) return ": session packet of version " + std::to_string(packet.GetVersion());
    if (packet.GetCommand() == session::SCTP_CMD_ACK) {
        return ": ack" + sequence + (packet.GetFlag() ? " and all before" : " alone") + ", window " +
               std::to_string(packet.GetWindowSize()) + DescribeWideAck(data, length);
    }
    if (packet.GetCommand() != session::SCTP_CMD_DATA)
        return ": session command " + std::to_string(packet.GetCommand()) + sequence;
    const int payload = length - session::kHeaderLen;
    std::string text = ": data" + sequence + ", " + std::to_string(payload) + " bytes";
    const bool begin = packet.GetBegin(), end = packet.GetEnd();
    text += DescribeWideData(data);
    text += begin && end ? ", a whole frame" : begin ? ", a frame begins" : end ? ", the frame ends" : "";
    const auto* frame = reinterpret_cast<const uint8_t*>(data) + session::kHeaderLen;
    if (begin) text += DescribeSealed(FramesOf(kind), frame, static_cast<size_t>(payload));
    if (begin && kind == wire::Kind::Whiteboard) text += DescribeBoardMessage(frame, static_cast<size_t>(payload));
    if (begin && end) text += DescribeMessage(frame, static_cast<size_t>(payload));
    return text;
}

std::string DescribeTail(const wire::CommandRow& row, const wire::CWireReader& reader) {
    if (row.tail == wire::Tail::None) return "";
    if (row.tail == wire::Tail::SessionPacket) return DescribeSessionPacket(row.kind, reader.Rest(), reader.Left());
    return ": frame of " + std::to_string(reader.Left()) + " bytes" +
           DescribeSealed(FramesOf(row.kind), reinterpret_cast<const uint8_t*>(reader.Rest()),
                          static_cast<size_t>(reader.Left()));
}

/// Kinds 2, 3 and 7, which have no command byte.
std::string DescribeSpecial(wire::Kind kind, const uint8_t* body, size_t length) {
    const std::string name = wire::KindName(static_cast<uint8_t>(kind));
    if (kind == wire::Kind::Stun) {
        if (length == 0) return name + " asks for its address";
        if (length != 6) return "";
        wire::CWireReader reader(body, static_cast<int>(length));
        const uint32_t ip = reader.U32();
        return name + " your address is " + Endpoint{ip, reader.U16()}.Text();
    }
    if (length != 4) return "";
    // The one value that travels in the host's own order: little-endian on every machine the system runs on.
    const uint32_t user = body[0] | uint32_t{body[1]} << 8 | uint32_t{body[2]} << 16 | uint32_t{body[3]} << 24;
    return name + " user " + std::to_string(user);
}

/// How long the first datagram of a run is if it is of that row; `length` when there can be no more behind it.
size_t FirstOfRun(const wire::CommandRow& row, const uint8_t* data, size_t length) {
    const auto fixed = static_cast<size_t>(row.FixedLength()) + 1;
    if (row.tail == wire::Tail::None) return std::min(length, fixed);
    if (row.tail != wire::Tail::SessionPacket || length < fixed + session::kHeaderLen) return length;
    CSCTPPacket packet(reinterpret_cast<const char*>(data + fixed), session::kHeaderLen);
    const bool ack = packet.GetCommand() == session::SCTP_CMD_ACK;
    const bool wideAck = ack && length >= fixed + session::kHeaderLen + wide::kAckFixedLen &&
                         wide::LooksLikeAnswer(packet.GetPacketData());
    if (wideAck) return std::min(length, fixed + static_cast<size_t>(wide::AnnouncedAckLen(packet.GetPacketData())));
    return std::min(length, fixed + session::kHeaderLen + (ack ? 0 : session::kPayloadLen));
}

/// The lengths of a run of datagrams as long as the first, of which the last may be shorter; empty when it is none.
std::vector<size_t> CutRun(const uint8_t* data, size_t length, size_t piece) {
    std::vector<size_t> lengths;
    for (size_t at = 0; at < length; at += lengths.back()) {
        lengths.push_back(std::min(piece, length - at));
        if (DescribeDatagram(data + at, lengths.back()).empty()) return {};
    }
    return lengths;
}

}  // namespace

std::string DescribeDatagram(const uint8_t* data, size_t length) {
    if (length == 0 || length > UINT16_MAX || data[0] >= wire::kKindCount) return "";
    const auto kind = static_cast<wire::Kind>(data[0]);
    const uint8_t* body = data + 1;
    const auto bodyLength = static_cast<int>(length - 1);
    if (kind == wire::Kind::Stun || kind == wire::Kind::P2P || kind == wire::Kind::P2PAck)
        return DescribeSpecial(kind, body, length - 1);
    const wire::CommandRow* row = wire::FindCommand(kind, body, bodyLength);
    if (!row) return "";
    wire::CWireReader reader(body, bodyLength);
    reader.U8();
    std::string text = row->name + DescribeFields(*row, reader);
    return text + DescribeTail(*row, reader);
}

std::vector<size_t> SplitRun(const uint8_t* data, size_t length) {
    if (length < 2 || length > UINT16_MAX || data[0] >= wire::kKindCount) return {length};
    const auto kind = static_cast<wire::Kind>(data[0]);
    const wire::CommandRow* whole = wire::FindCommand(kind, data + 1, static_cast<int>(length - 1));
    if (whole && whole->tail == wire::Tail::None) return {length};
    for (const wire::CommandRow& row : wire::Commands()) {
        if (row.kind != kind || row.code != data[1]) continue;
        const size_t piece = FirstOfRun(row, data, length);
        std::vector<size_t> lengths = CutRun(data, length, piece);
        if (piece < length && !lengths.empty()) return lengths;
    }
    return {length};
}

std::string DescribeValidation(uint32_t type, const uint8_t* payload, size_t length) {
    const char* service = ServiceName(type);
    std::string text =
        "validation: type " + std::to_string(type) + " (" + (service ? service : "unknown service") + ")";
    wire::CWireReader reader(payload, static_cast<int>(std::min<size_t>(length, INT32_MAX)));
    if (length < 4) return text + (length == 0 ? "" : ", " + std::to_string(length) + " bytes");
    const bool signalling = type == static_cast<uint32_t>(wire::TcpType::Signalling);
    text += std::string(signalling ? ", user " : ", channel ") + std::to_string(reader.U32());
    if (length == 8) text += ", sink " + std::to_string(reader.U32());
    if (length >= 16) {
        text += ", relay " + GetIpAddr(reader.U32());
        text += " or " + GetIpAddr(reader.U32());
        text += " or " + GetIpAddr(reader.U32());
    }
    if (reader.Left() > 0) text += ", " + std::to_string(reader.Left()) + " more bytes";
    return text;
}

std::string DescribeFrame(const uint8_t* data, size_t length, std::optional<uint32_t> service) {
    if (length == 1) return "control byte " + std::to_string(data[0]);
    const std::string text = "frame of " + std::to_string(length) + " bytes";
    if (service == static_cast<uint32_t>(wire::TcpType::Whiteboard)) return text + DescribeBoardMessage(data, length);
    return text + DescribeSealed(FramesOf(service), data, length) + DescribeMessage(data, length);
}

}  // namespace lumo
