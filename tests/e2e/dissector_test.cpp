// The dissector in tshark: it says what the dump says of what is good, and marks the rest.
#include "core/wide/wide_packets.h"
#include "core/wire/commands.h"
#include "fuzz/support/records.h"
#include "support/capture.h"
#include "support/program_test.h"
#include "support/wb_words.h"
#include "tools/lumo/dump/datagram_text.h"
#include "tools/lumo/dump/packet.h"
#include "tools/lumo/dump/tcp_streams.h"
#include "tools/lumo/dump/wire_names.h"

#include <pcap/dlt.h>

#include <algorithm>
#include <set>

namespace {

using capture::U32;
using capture::Wire;
using session_wire::Data;
using wb_words::Words;

using Packets = std::vector<std::string>;
using Row = std::vector<std::string>;

const char* const kInfo = "_ws.col.Info";
const char* const kMarks = "_ws.expert.message";
const std::string kSealed = Hex("F8 8000000000000001 63 00000000000000000000000000000000");

Row Split(const std::string& text, char at) {
    Row cells(1);
    for (const char letter : text)
        if (letter == at)
            cells.emplace_back();
        else
            cells.back() += letter;
    return cells;
}

/// Packets of a session, those of a wide one among them, that carry whiteboard messages or other frames.
Packets SessionPackets(bool board) {
    std::string offer = Data(1, board ? wb_words::Message(77) : "frame"), head = offer, answer = session_wire::Ack(9);
    wide::WriteOffer(offer.data(), 77);
    wide::WriteHead(head.data(), 77, {(7U << 16) + 2, 9});
    wide::Ack ack;
    ack.delivered = 9;
    ack.transmission = 5;
    ack.waitedUs = 40;
    ack.room = 100;
    ack.rangeCount = 2;
    ack.ranges[0] = {2, 3};
    ack.ranges[1] = {9, 1};
    answer.resize(wide::kMaxAckLen);
    wide::WriteAnswer(answer.data(), 77);
    answer.resize(static_cast<size_t>(wide::WriteAck(answer.data(), ack)));
    Packets packets = {offer, head, answer, session_wire::Ack(5), session_wire::Packet(6, 1, 0xF8, "")};
    if (!board) packets.insert(packets.end(), {Data(3, kSealed), session_wire::Packet(3, 0, 4, "\1\2\3" + kSealed)});
    for (uint32_t command = 0; board && command < 0x4C60; ++command)
        if (lumo::BoardCommandName(command))
            packets.push_back(Data(4, wb_words::Message(command, 5, 6, Words({10, 3, 4}))));
    return packets;
}

/// Every datagram of the command table, what it can carry, and the kinds without commands.
Packets EveryDatagram() {
    Packets datagrams;
    for (const wire::CommandRow& row : wire::Commands()) {
        std::string head = {static_cast<char>(row.kind), static_cast<char>(row.code)};
        for (const wire::Field field : row.fields)
            if (field != wire::Field::None)
                head += field == wire::Field::RelayPort ? capture::U16(7000)
                                                        : U32(4294960000U + static_cast<uint32_t>(head.size()));
        if (row.tail == wire::Tail::None) datagrams.push_back(head);
        if (row.tail == wire::Tail::Frame) datagrams.insert(datagrams.end(), {head + "frame", head + kSealed});
        if (row.tail != wire::Tail::SessionPacket) continue;
        for (const std::string& packet : SessionPackets(row.kind == wire::Kind::Whiteboard))
            datagrams.push_back(head + packet);
        const std::string full = head + session_wire::Packet(1, 0, 0, std::string(1040, 'x'));
        datagrams.push_back(full + full + head + session_wire::Packet(2, 0, 2, "the last of a run"));
    }
    const std::string ends = Hex("00 13 00000001 00000002 00000000 00 16 00000001");  // a run that ends with another
    datagrams.insert(datagrams.end(),
                     {ends, Hex("07"), Hex("07 7F000001 1B58"), Hex("02 05000000"), Hex("03 FF000000")});
    return datagrams;
}

/// A connection of each service: validation, frames, and a message in two segments.
Packets EveryConnection() {
    Packets packets;
    for (uint32_t type = 0; type < 256; ++type) {
        if (!lumo::ServiceName(type)) continue;
        const std::string who = U32(77) + (type % 2 == 0 ? "" : Hex("0A000001 00000000 0A000003 1B58 00000005"));
        const std::string packet = U32(9) + Hex("01 0002 0003 616263 03 1B58 0001 78 01 0002 6869");
        const bool signals = type == static_cast<uint32_t>(wire::TcpType::Signalling);
        const std::string wide = Wire(0, signals ? packet : std::string(2000, 'b'));
        Packets segments = {Wire(1, U32(type) + U32(static_cast<uint32_t>(who.size())) + who),
                            Wire(0, std::string(1, 0)), wide.substr(0, 17), wide.substr(17)};
        if (!signals) segments.insert(segments.end(), {Wire(0, kSealed), Wire(0, "\1\2\3" + kSealed)});
        uint32_t sequence = 1;
        for (const std::string& segment : segments) {
            packets.push_back(capture::Tcp(sequence, 0x18, segment, 41000 + type));
            sequence += static_cast<uint32_t>(segment.size());
        }
    }
    return packets;
}

/// What the dump says of a packet; not good: one of its datagrams is none of the system.
struct Said {
    std::string words;
    bool good = true;
};

std::vector<Said> DumpOf(const Packets& packets) {
    std::vector<Said> all;
    const auto add = [&all](const std::string& text) {
        Said& said = all.back();
        said.good = said.good && !text.empty();
        // Messages of the file transfer are the program's, not the wire's.
        said.words += (said.words.empty() ? "" : " | ") + text.substr(0, text.find(" [transfer"));
    };
    lumo::CTcpStreams streams([&add](const auto&, const auto&, const std::string& text) { add(text); });
    for (const std::string& packet : packets) {
        lumo::CapturedPacket parsed;
        const auto* bytes = reinterpret_cast<const uint8_t*>(packet.data());
        EXPECT_EQ(lumo::ParsePacket(DLT_RAW, bytes, packet.size(), parsed), lumo::Parsed::Packet);
        all.emplace_back();
        if (parsed.transport == lumo::Transport::Tcp) {
            streams.Add(parsed);
            continue;
        }
        size_t at = 0;
        for (const size_t length : lumo::SplitRun(parsed.payload, parsed.length)) {
            add(lumo::DescribeDatagram(parsed.payload + at, length));
            at += length;
        }
    }
    return all;
}

Packets Seeds(const char* target) {
    Packets seeds;
    for (const auto& entry :
         std::filesystem::directory_iterator(LUMO_SOURCE_DIR "/fuzz/corpus/" + std::string(target))) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        for (const std::string& seed : Records(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), 1000))
            seeds.push_back(seed);
    }
    EXPECT_FALSE(seeds.empty()) << target;
    return seeds;
}

class Dissector : public CProgramTest {
protected:
    void SetUp() override {
        Process& tshark = Tshark("--version");
        if (tshark.ExitCode() != 127) return;
        ASSERT_EQ(std::getenv("LUMO_REQUIRE_ALL"), nullptr) << "there is no tshark";
        GTEST_SKIP() << "there is no tshark";
    }
    Process& Tshark(const std::string& words) {
        Process& tshark = Start({"/usr/bin/env"}, "tshark", words);
        EXPECT_TRUE(tshark.WaitForEnd(kDeadlineMs));
        return tshark;
    }
    /// A row of these fields for each packet.
    std::vector<Row> Dissect(const Packets& packets, const Row& fields, const std::string& ports = "7000-7001") {
        folder.Put("capture", capture::File(packets));
        std::string words = "-n -o tcp.analyze_sequence_numbers:false -X lua_script:" LUMO_BUILD_DIR
                            "/tools/wireshark/lumo.lua -r capture -T fields -o lumo.ports:" +
                            ports;
        for (const std::string& field : fields) words += " -e " + field;
        Process& tshark = Tshark(words);
        EXPECT_EQ(tshark.ExitCode(), 0) << tshark.Errors();
        EXPECT_EQ(tshark.Output().find("Lua Error"), std::string::npos) << tshark.Output();
        std::vector<Row> rows;
        for (const std::string& line : Split(tshark.Output(), '\n')) rows.push_back(Split(line, '\t'));
        rows.resize(packets.size(), Row(fields.size()));
        return rows;
    }
};

TEST_F(Dissector, SaysWhatTheDumpSaysOfAllThatIsGood) {
    Packets packets = EveryConnection();
    for (const std::string& datagram : EveryDatagram()) packets.push_back(capture::Udp(datagram));
    const std::vector<Said> dump = DumpOf(packets);
    for (const char* ports : {"7000-7001", "9"}) {  // by their port, and by what they are
        const std::vector<Row> rows = Dissect(packets, {kInfo, kMarks}, ports);
        for (size_t i = 0; i < packets.size(); ++i) {
            EXPECT_TRUE(dump[i].good) << i << ": " << ToHex(packets[i]);
            EXPECT_EQ(dump[i].words.empty() ? "" : rows[i][0], dump[i].words);
            EXPECT_EQ(rows[i][1], "") << dump[i].words;
        }
    }
}

TEST_F(Dissector, MarksWhatTheDumpDoesNotKnow) {
    std::set<std::string> datagrams;
    for (const std::string& seed : Seeds("medium_dispatch"))
        for (size_t length = seed.size() < 64 ? 1 : seed.size(); length <= seed.size(); ++length)
            datagrams.insert(seed.substr(0, length));
    for (const std::string& seed : Seeds("session_packet")) datagrams.insert(Hex("06 3E 00000001") + seed);
    for (const std::string& seed : Seeds("whiteboard_centre"))
        datagrams.insert(Hex("04 29 00000001") + Data(1, seed.substr(std::min<size_t>(seed.size(), 1))));
    Packets packets;
    for (const std::string& datagram : datagrams)
        if (!datagram.empty()) packets.push_back(capture::Udp(datagram));
    const std::vector<Said> dump = DumpOf(packets);
    uint32_t sequence = 1;
    for (const std::string& seed : Seeds("tcp_framing")) {  // whatever becomes of them, the dissector does not fail
        packets.push_back(capture::Tcp(sequence, 0x18, seed));
        sequence += static_cast<uint32_t>(seed.size());
    }
    const std::vector<Row> rows = Dissect(packets, {kInfo, kMarks});
    for (size_t i = 0; i < dump.size(); ++i) {
        const bool right = dump[i].good ? rows[i][0] == dump[i].words : !rows[i][1].empty();
        EXPECT_TRUE(right) << rows[i][0] << '\n' << dump[i].words << '\n' << ToHex(packets[i]).substr(0, 200);
    }
}

/// A datagram, or after "TCP" the bytes of a connection, and what a field of it holds.
const struct {
    const char *bytes, *field, *value;
} kFields[] = {
    {"06 39 00000007 00000008 0A000001 00000000 0A000003", "lumo.relay", "10.0.0.1,0.0.0.0,10.0.0.3"},
    {"00 02 00000007 00000008 F8 80F0000000000001 63 00000000000000000000000000000000", "lumo.sealed.counter", "99"},
    {"04 29 00000007 0005 00 06 0000000000000000 07000000 09000000 01000000 FFFFFFFF 02000000 05000000",
     "lumo.board.dx", "-1"},
    {"04 29 00000007 0005 00 06 0000000000000000 12000000 00000000 00000000 0B000000 0C000000", "lumo.board.id",
     "11,12"},
    {"04 29 00000007 0005 00 06 0000000000000000 03000000 00000000 00000000 09000000 00000000 00000000 00000001 "
     "00000002 00000003 00000004",
     "lumo.board.right", "50331648"},
    {"TCP 0000000C 01 00000008 00000004 0000004D 00000006 00 05 0102 F0 00 00", "lumo.video.number", "258"},
    {"TCP 0000000C 01 00000064 00000004 0000004D 0000000F 00 00000009 01 0001 0003 616263 03 1B58",
     "lumo.packet.attribute", "abc = 7000"},
    {"08 39", kMarks, "A kind that nobody knows"},
    {"06 99 00000001", kMarks, "A command that this kind does not have"},
    {"00 39 00000001", kMarks, "A command that this kind does not have"},
    {"06 45 00000007 00", kMarks, "Not a length of this command"},
    {"03 05", kMarks, "Not a length of this command"},
    {"06 3E 00000007 0005", kMarks, "Too short for a session packet"},
    {"06 3E 00000007 0005 80 04 0000000000000000", kMarks, "A version of the session"},
    {"06 3E 00000007 0005 02 04 0000000000000000", kMarks, "A session command"},
    {"00 02 00000007 00000008 F8 0000000000000001 63 00000000000000000000000000000000", kMarks, "Begins like a sealed"},
    {"04 29 00000007 0005 00 06 0000000000000000 0300", kMarks, "Too short for a whiteboard message"},
    {"04 29 00000007 0005 00 06 0000000000000000 07000000 00000000 00000000 01", kMarks, "Too short for this command"},
    {"04 29 00000007 0005 00 06 0000000000000000 04000000 00000000 00000000 01", kMarks, "is cut short"},
    {"04 29 00000007 0005 00 06 0000000000000000 03000000 00000000 00000000 01000000", kMarks,
     "Too short for the rect"},
    {"TCP 00000008 01 0000000C 00000000 04000001 00", kMarks, "A kind or a length that no message has"},
    {"TCP 00000008 01 0000000C 00000000 00000001 02 00", kMarks, "A kind or a length that no message has"},
    {"TCP 00000008 01 0000000C 00000001", kMarks, "A validation message whose length"},
    {"TCP 00000008 01 0000FFFF 00000000", kMarks, "A validation type that nobody knows"},
    {"TCP 0000000C 01 00000064 00000004 0000004D 0000000A 00 00000009 02 0001 000000", kMarks, "A command packet that"},
};

TEST_F(Dissector, FieldsAndComplaints) {
    std::string answer = session_wire::Ack(9) + std::string(14, '\0');
    wide::WriteAnswer(answer.data(), 77);
    Packets packets = {capture::Udp(Hex("06 3E 00000001") + answer + "one byte more")};
    Row fields = {kMarks};
    for (const auto& row : kFields) {
        const bool tcp = std::string(row.bytes).starts_with("TCP");
        const auto port = static_cast<uint32_t>(42000 + packets.size());
        packets.push_back(tcp ? capture::Tcp(1, 0x18, Hex(row.bytes + 3), port) : capture::Udp(Hex(row.bytes)));
        if (std::find(fields.begin(), fields.end(), row.field) == fields.end()) fields.emplace_back(row.field);
    }
    const std::vector<Row> rows = Dissect(packets, fields);
    EXPECT_NE(rows[0][0].find("The acknowledgement of a wide session does not fit"), std::string::npos);
    for (size_t i = 0; i < std::size(kFields); ++i) {
        const auto column = std::find(fields.begin(), fields.end(), kFields[i].field) - fields.begin();
        const std::string& value = rows[i + 1].at(static_cast<size_t>(column));
        EXPECT_NE(value.find(kFields[i].value), std::string::npos)
            << kFields[i].bytes << ' ' << kFields[i].field << ": " << value;
    }
}

}  // namespace
