#include "server/pages/metrics.h"

#include "platform/lumonet/lumonet.h"

#include <prometheus/text_serializer.h>

CMetrics::CMetrics()
    : m_channels(MakeGauges("lumo_channels", "Channels the server knows.")),
      m_relays(MakeGauges("lumo_relays", "Channels relayed from another server.")),
      m_sources(MakeGauges("lumo_sources", "Publishers.")),
      m_sinks(MakeGauges("lumo_sinks", "Subscribers.")),
      m_unvalidated(MakeGauges("lumo_unproved", "UDP clients that have not answered yet.")),
      m_queuedFrames(MakeGauges("lumo_queued_frames", "Frames waiting for their receivers.")),
      m_queuedBytes(MakeGauges("lumo_queued_bytes", "Bytes of the frames waiting for their receivers.")),
      m_frames(MakeCounters("lumo_frames_total", "Frames from publishers (in), to subscribers (out), upstream (up).")),
      m_bytes(MakeCounters("lumo_bytes_total", "Bytes of those frames.")),
      m_packets(MakeCounters("lumo_packets_total", "Packets of reliable sessions, those sent again included.")),
      m_retransmissions(MakeCounters("lumo_retransmissions_total", "Packets sent again.")),
      m_drops(MakeCounters("lumo_drops_total", "Frames dropped at a limit.")),
      m_datagrams(MakeCounters("lumo_datagrams_total", "UDP datagrams.")),
      m_datagramBytes(MakeCounters("lumo_datagram_bytes_total", "Bytes of UDP datagrams.")),
      m_requests(MakeCounters("lumo_unproved_requests_dropped_total",
                              "Requests over UDP that were more than their share of the processor.")),
      m_overRate(MakeCounters("lumo_datagrams_over_rate_total",
                              "Datagrams dropped because their address had its bytes of that second.")),
      m_signallingClients(MakeGauges("lumo_signalling_clients", "Clients of the signalling service.")),
      m_signallingPackets(MakeCounters("lumo_signalling_packets_total", "Packets between them.")),
      m_memoryUsed(
          MakeGauges("lumo_memory_bytes", "What waits to be sent (send), and what is not yet whole (receive).")),
      m_memoryLimit(MakeGauges("lumo_memory_limit_bytes", "How much of it there may be before somebody gives way.")),
      m_gaveWay(MakeCounters("lumo_memory_gave_way_total", "Links and connections that gave way to keep it so.")),
      m_refusals(MakeCounters("lumo_refusals_total", "Requests that were refused, by reason.")),
      m_ready(MakeGauges("lumo_ready", "Whether the server takes newcomers.")),
      m_cpu(MakeCounters("process_cpu_seconds_total", "CPU time, user and system.")),
      m_memory(MakeGauges("process_resident_memory_bytes", "Resident memory.")),
      m_files(MakeGauges("process_open_fds", "Open file descriptors.")),
      m_sockets(MakeGauges("process_open_sockets", "Open sockets.")),
      m_mostFiles(MakeGauges("process_max_fds", "File descriptors that there may be.")),
      m_started(MakeGauges("process_start_time_seconds", "When the process started, in seconds since 1970.")) {}

CMetrics::Gauges& CMetrics::MakeGauges(const char* name, const char* help) {
    return prometheus::BuildGauge().Name(name).Help(help).Register(m_registry);
}

CMetrics::Counters& CMetrics::MakeCounters(const char* name, const char* help) {
    return prometheus::BuildCounter().Name(name).Help(help).Register(m_registry);
}

void CMetrics::Set(Gauges& family, const Labels& labels, double value) { family.Add(labels).Set(value); }

void CMetrics::Raise(Counters& family, const Labels& labels, double value) {
    prometheus::Counter& counter = family.Add(labels);
    if (value > counter.Value()) counter.Increment(value - counter.Value());
}

void CMetrics::SetMedium(const CMediumStatus& medium) {
    const auto number = [](auto value) { return static_cast<double>(value); };
    const Labels own{{"medium", medium.medium}};
    const auto with = [&](const char* label, const char* value) {
        return Labels{{"medium", medium.medium}, {label, value}};
    };
    Set(m_channels, own, number(medium.channels));
    Set(m_relays, own, number(medium.relays));
    Set(m_sources, with("transport", "udp"), number(medium.sourcesUdp));
    Set(m_sources, with("transport", "tcp"), number(medium.sourcesTcp));
    Set(m_sinks, with("transport", "udp"), number(medium.sinksUdp));
    Set(m_sinks, with("transport", "tcp"), number(medium.sinksTcp));
    Set(m_unvalidated, own, number(medium.unvalidated));
    Set(m_queuedFrames, own, number(medium.queuedFrames));
    Set(m_queuedBytes, own, number(medium.queuedBytes));
    Raise(m_frames, with("direction", "in"), number(medium.traffic.framesIn));
    Raise(m_frames, with("direction", "out"), number(medium.traffic.framesOut));
    Raise(m_frames, with("direction", "up"), number(medium.traffic.framesUp));
    Raise(m_bytes, with("direction", "in"), number(medium.traffic.bytesIn));
    Raise(m_bytes, with("direction", "out"), number(medium.traffic.bytesOut));
    Raise(m_bytes, with("direction", "up"), number(medium.traffic.bytesUp));
    Raise(m_packets, own, number(medium.links.packets));
    Raise(m_retransmissions, own, number(medium.links.retransmitted));
    Raise(m_drops, own, number(medium.links.dropped + medium.traffic.dropped));
}

CServerNumbers CServerNumbers::Of(IStatusSource& source) {
    return {source.Media(),  source.Signalling(),      source.Budgets(),          source.Refusals(),
            source.Health(), source.DroppedRequests(), source.DatagramsOverRate()};
}

void CMetrics::SetWhole(const CServerNumbers& numbers) {
    Raise(m_requests, {}, static_cast<double>(numbers.droppedRequests));
    Raise(m_overRate, {}, static_cast<double>(numbers.overRate));
    Set(m_signallingClients, {}, static_cast<double>(numbers.signalling.clients));
    Raise(m_signallingPackets, {{"result", "forwarded"}}, static_cast<double>(numbers.signalling.forwarded));
    Raise(m_signallingPackets, {{"result", "dropped"}}, static_cast<double>(numbers.signalling.dropped));
    for (const CBudgetStatus& budget : numbers.budgets) {
        const Labels own{{"budget", budget.budget}};
        Set(m_memoryUsed, own, static_cast<double>(budget.bytes));
        Set(m_memoryLimit, own, static_cast<double>(budget.limit));
        Raise(m_gaveWay, own, static_cast<double>(budget.gaveWay));
    }
    for (const CRefusalStatus& refusal : numbers.refusals)
        Raise(m_refusals, {{"reason", refusal.reason}}, static_cast<double>(refusal.count));
    Set(m_ready, {}, numbers.health.ready ? 1 : 0);
}

std::string CMetrics::Text(const CServerNumbers& numbers, const CProcessStatus& process) {
    for (const CMediumStatus& medium : numbers.media) SetMedium(medium);
    SetWhole(numbers);
    const UdpCounters udp = GetUdpCounters();
    Raise(m_datagrams, {{"direction", "in"}}, static_cast<double>(udp.received));
    Raise(m_datagrams, {{"direction", "out"}}, static_cast<double>(udp.sent));
    Raise(m_datagrams, {{"direction", "refused"}}, static_cast<double>(udp.refused));
    Raise(m_datagramBytes, {{"direction", "in"}}, static_cast<double>(udp.bytesReceived));
    Raise(m_datagramBytes, {{"direction", "out"}}, static_cast<double>(udp.bytesSent));
    Raise(m_cpu, {}, process.cpuSeconds);
    Set(m_memory, {}, static_cast<double>(process.residentBytes));
    Set(m_files, {}, static_cast<double>(process.openFiles));
    Set(m_sockets, {}, static_cast<double>(process.openSockets));
    Set(m_mostFiles, {}, static_cast<double>(process.mostFiles));
    Set(m_started, {}, process.startedAt);
    return prometheus::TextSerializer().Serialize(m_registry.Collect());
}
