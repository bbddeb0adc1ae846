#include "tools/lumo/commands/commands.h"

#include "tools/lumo/commands/transfer_options.h"
#include "tools/lumo/dump/datagram_text.h"
#include "tools/lumo/dump/tcp_streams.h"
#include "tools/lumo/net/loop.h"

#include <pcap/pcap.h>

#include <cstdio>
#include <memory>

namespace lumo {
namespace {

struct DumpCommand {
    std::string file;
    std::string interface = "lo";
    double seconds = 0;
    uint64_t count = 0;
    uint32_t port = 0;
    bool all = false;
};

struct ClosePcap {
    void operator()(pcap_t* capture) const { pcap_close(capture); }
};
using PcapPtr = std::unique_ptr<pcap_t, ClosePcap>;

/// Prints what one capture holds.
class CDumper {
public:
    CDumper(const DumpCommand& command, int linkType)
        : m_command(command),
          m_nLinkType(linkType),
          m_streams([this](const auto& from, const auto& to, const auto& text) { Line("TCP", from, to, text); }) {}

    void Add(const pcap_pkthdr& header, const uint8_t* bytes) {
        const double time = static_cast<double>(header.ts.tv_sec) + static_cast<double>(header.ts.tv_usec) / 1e6;
        if (m_nPackets++ == 0) m_start = time;
        m_time = time - m_start;
        CapturedPacket packet;
        const Parsed parsed = ParsePacket(m_nLinkType, bytes, header.caplen, packet);
        if (parsed != Parsed::Packet || !IsWanted(packet)) {
            ++m_nIgnored;
        } else if (packet.transport == Transport::Udp) {
            AddUdp(packet);
        } else {
            m_streams.Add(packet);
        }
    }
    bool IsWanted(const CapturedPacket& packet) const {
        return m_command.port == 0 || packet.from.port == m_command.port || packet.to.port == m_command.port;
    }
    bool Enough() const { return m_command.count != 0 && m_nLines >= m_command.count; }
    void Summary() const {
        std::fprintf(stderr, "%llu packets, %llu datagrams and messages shown, %llu packets of others, %llu gaps\n",
                     static_cast<unsigned long long>(m_nPackets), static_cast<unsigned long long>(m_nLines),
                     static_cast<unsigned long long>(m_nIgnored), static_cast<unsigned long long>(m_streams.Gaps()));
    }

private:
    void AddUdp(const CapturedPacket& packet) {
        size_t at = 0;
        for (size_t length : SplitRun(packet.payload, packet.length)) {
            std::string text = DescribeDatagram(packet.payload + at, length);
            at += length;
            const bool cut = at == packet.length && packet.length < packet.fullLength;
            if (text.empty() && (m_command.all || cut)) text = std::to_string(length) + " bytes of others";
            if (text.empty()) {
                ++m_nIgnored;
                continue;
            }
            if (cut) text += " (cut by the capture, of " + std::to_string(packet.fullLength) + ")";
            Line("UDP", packet.from, packet.to, text);
        }
    }
    void Line(const char* transport, const Endpoint& from, const Endpoint& to, const std::string& text) {
        if (Enough()) return;
        ++m_nLines;
        std::printf("%11.6f %s %s > %s  %s\n", m_time, transport, from.Text().c_str(), to.Text().c_str(), text.c_str());
    }

    const DumpCommand& m_command;
    const int m_nLinkType;
    CTcpStreams m_streams;
    double m_start = 0, m_time = 0;
    uint64_t m_nPackets = 0, m_nLines = 0, m_nIgnored = 0;
};

void OnPacket(u_char* dumper, const pcap_pkthdr* header, const u_char* bytes) {
    reinterpret_cast<CDumper*>(dumper)->Add(*header, bytes);
}

PcapPtr OpenFile(const DumpCommand& command, std::string& problem) {
    char error[PCAP_ERRBUF_SIZE] = "";
    PcapPtr capture(pcap_open_offline(command.file.c_str(), error));
    if (!capture) problem = error;
    return capture;
}

PcapPtr OpenLive(const DumpCommand& command, std::string& problem) {
    char error[PCAP_ERRBUF_SIZE] = "";
    PcapPtr capture(pcap_create(command.interface.c_str(), error));
    if (!capture) {
        problem = error;
        return nullptr;
    }
    pcap_set_snaplen(capture.get(), 262144);
    pcap_set_timeout(capture.get(), 100);
    pcap_set_buffer_size(capture.get(), 64 * 1024 * 1024);
    const int result = pcap_activate(capture.get());
    if (result < 0) {
        problem = "cannot capture on " + command.interface + " (it takes root): " + pcap_geterr(capture.get());
        return nullptr;
    }
    pcap_setnonblock(capture.get(), 1, error);
    return capture;
}

bool Filter(pcap_t* capture, const DumpCommand& command, std::string& problem) {
    const std::string text = command.port != 0 ? "port " + std::to_string(command.port) : "udp or tcp";
    bpf_program program{};
    if (pcap_compile(capture, &program, text.c_str(), 1, PCAP_NETMASK_UNKNOWN) == 0) {
        const int result = pcap_setfilter(capture, &program);
        pcap_freecode(&program);
        if (result == 0) return true;
    }
    problem = pcap_geterr(capture);
    return false;
}

/// False when the capture broke off.
bool ReadAll(pcap_t* capture, const DumpCommand& command, CDumper& dumper, std::string& problem) {
    CToolLoop loop;
    const bool live = command.file.empty();
    const uint64_t start = CToolLoop::Now();
    const auto expired = [&] {
        return command.seconds > 0 && static_cast<double>(CToolLoop::Now() - start) >= command.seconds * 1000;
    };
    while (!dumper.Enough() && !loop.Interrupted() && !(live && expired())) {
        const int got = pcap_dispatch(capture, 1000, OnPacket, reinterpret_cast<u_char*>(&dumper));
        if (got < 0) problem = pcap_geterr(capture);
        if (got < 0 || (got == 0 && !live)) break;
        loop.Wait(live && got == 0 ? pcap_get_selectable_fd(capture) : -1, got == 0 ? 100 : 0);
        if (live) std::fflush(stdout);
    }
    return problem.empty();
}

int Run(const DumpCommand& command) {
    std::string problem;
    const PcapPtr capture = command.file.empty() ? OpenLive(command, problem) : OpenFile(command, problem);
    if (capture && !KnowsLinkType(pcap_datalink(capture.get())))
        problem = std::string("captures of this kind are not known: ") +
                  pcap_datalink_val_to_description_or_dlt(pcap_datalink(capture.get()));
    bool whole = false;
    if (problem.empty() && (!command.file.empty() || Filter(capture.get(), command, problem))) {
        CDumper dumper(command, pcap_datalink(capture.get()));
        whole = ReadAll(capture.get(), command, dumper, problem);
        std::fflush(stdout);
        dumper.Summary();
    }
    if (whole) return kExitDone;
    std::fprintf(stderr, "lumo: %s\n", problem.c_str());
    return kExitFailed;
}

}  // namespace

void AddDumpCommand(CCommand& root, int& exitCode) {
    auto command = std::make_shared<DumpCommand>();
    CCommand dump = root.Sub("dump", "Show captured datagrams and messages in words");
    dump.Add("FILE", command->file, "A pcap file; - is standard input. Without it: what passes now");
    dump.Add("--interface NAME", command->interface, "Where to capture").ShowDefault();
    dump.Add("--seconds SECONDS", command->seconds, "Capture for so long").Seconds(0, 1e9);
    dump.Add("--count NUMBER", command->count, "End after so many lines");
    dump.Add("--port PORT", command->port, "Only from or to this port").Within(1, 65535);
    dump.AddFlag("--all", command->all, "Also mention datagrams of others");
    dump.Example("lumo dump traffic.pcap", "A line for each datagram and message of a capture");
    dump.Example("lumo dump --interface eth0 --port 7000 --seconds 10", "What passes now; this takes root");
    dump.Exits({{kExitDone, "the capture was read to its end"}, {kExitFailed, "it cannot be read, or breaks off"}});
    dump.OnRun([command, &exitCode] { exitCode = Run(*command); });
}

}  // namespace lumo
