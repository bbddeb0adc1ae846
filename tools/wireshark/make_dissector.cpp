// Writes the dissector: the tables of the wire as Lua, then the parts that read them.
//   make_dissector VERSION PART... > lumo.lua
#include "core/session_constants.h"
#include "core/wide/wide_constants.h"
#include "core/wire/commands.h"
#include "platform/lumonet/tcp_limits.h"
#include "tools/lumo/dump/wire_names.h"

#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

namespace {

/// Types of services and commands of whiteboards lie below this; the boards' own have a block to themselves.
constexpr uint32_t kMostPlain = 256;
constexpr uint32_t kOwnCommands = 0x4C00;

void WriteConstants(std::ostream& out, const char* version) {
    out << "lumo.VERSION = \"" << version << "\"\n"
        << "lumo.HEADER = " << session::kHeaderLen << "\nlumo.PAYLOAD = " << session::kPayloadLen
        << "\nlumo.DATA = " << int{session::SCTP_CMD_DATA} << "\nlumo.ACK = " << int{session::SCTP_CMD_ACK}
        << "\nlumo.WIDE_VERSION = " << int{wide::kVersion} << "\nlumo.MAX_IN_FLIGHT = " << wide::kMaxInFlight
        << "\nlumo.MAX_RANGES = " << wide::kMaxRanges << "\nlumo.NO_TRANSMISSION = " << wide::kNoTransmission
        << "\nlumo.TCP_HEADER = " << net::kHeaderLen << "\nlumo.MAX_BODY = " << net::kMaxBody
        << "\nlumo.VALIDATION_HEADER = " << net::kValidationHeaderLen << "\n";
}

void WriteKinds(std::ostream& out) {
    out << "lumo.KINDS = {\n";
    for (uint8_t kind = 0; kind < wire::kKindCount; ++kind)
        out << "    [" << int{kind} << "] = \"" << wire::KindName(kind) << "\",\n";
    out << "}\n";
}

/// `word` is what the dump calls it, `filter` its name in display filters, where all addresses of a relay are one.
void WriteFields(std::ostream& out) {
    out << "lumo.FIELDS = {\n";
    for (int number = 1; *lumo::FieldName(static_cast<wire::Field>(number)) != '\0'; ++number) {
        const auto field = static_cast<wire::Field>(number);
        std::string filter = lumo::IsAddress(field) ? lumo::FieldName(wire::Field::RelayIP0) : lumo::FieldName(field);
        for (char& letter : filter) letter = letter == '-' ? '_' : letter;
        out << "    [" << number << "] = {word = \"" << lumo::FieldName(field) << "\", filter = \"" << filter
            << "\", length = " << (field == wire::Field::RelayPort ? 2 : 4)
            << ", address = " << (lumo::IsAddress(field) ? "true" : "false") << "},\n";
    }
    out << "}\n";
}

const char* TailName(wire::Tail tail) {
    if (tail == wire::Tail::Frame) return "frame";
    return tail == wire::Tail::SessionPacket ? "session" : "none";
}

void WriteCommands(std::ostream& out) {
    out << "lumo.COMMANDS = {\n";
    for (const wire::CommandRow& row : wire::Commands()) {
        out << "    {kind = " << static_cast<int>(row.kind) << ", code = " << int{row.code} << ", name = \"" << row.name
            << "\", long = " << (row.longForm ? "true" : "false") << ", fixed = " << row.FixedLength() + 1
            << ", tail = \"" << TailName(row.tail) << "\", least = " << int{row.minTail} << ", fields = {";
        for (const wire::Field field : row.fields)
            if (field != wire::Field::None) out << static_cast<int>(field) << ", ";
        out << "}},\n";
    }
    out << "}\n";
}

void WriteNames(std::ostream& out, const char* table, const char* (*name)(uint32_t), uint32_t from) {
    for (uint32_t number = from; number < from + kMostPlain; ++number)
        if (name(number)) out << table << "[" << number << "] = \"" << name(number) << "\"\n";
}

bool Append(std::ostream& out, const char* path) {
    std::ifstream part(path);
    if (!part) return false;
    out << "\n" << std::string(std::istreambuf_iterator<char>(part), {});
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return 2;
    std::ostream& out = std::cout;
    out << "-- The dissector of lumomedia for Wireshark and tshark. Made when lumomedia " << argv[1]
        << " was built, from its tables of the wire.\nlocal lumo = {}\n";
    WriteConstants(out, argv[1]);
    WriteKinds(out);
    WriteFields(out);
    WriteCommands(out);
    out << "lumo.SERVICES, lumo.BOARD = {}, {}\n";
    WriteNames(out, "lumo.SERVICES", lumo::ServiceName, 0);
    WriteNames(out, "lumo.BOARD", lumo::BoardCommandName, 0);
    WriteNames(out, "lumo.BOARD", lumo::BoardCommandName, kOwnCommands);
    for (int i = 2; i < argc; ++i) {
        if (Append(out, argv[i])) continue;
        std::fprintf(stderr, "make_dissector: cannot read %s\n", argv[i]);
        return 1;
    }
    return out.flush() ? 0 : 1;
}
