// The server in numbers, for a monitoring system that scrapes them.
#pragma once

#include "server/pages/process_status.h"
#include "server/status.h"

#include <prometheus/counter.h>
#include <prometheus/family.h>
#include <prometheus/gauge.h>
#include <prometheus/registry.h>
#include <map>
#include <string>
#include <vector>

/// Everything that is scraped of the server.
struct CServerNumbers {
    static CServerNumbers Of(IStatusSource& source);

    std::vector<CMediumStatus> media;
    CSignallingStatus signalling;
    std::vector<CBudgetStatus> budgets;
    std::vector<CRefusalStatus> refusals;
    CHealth health;
    uint64_t droppedRequests = 0;
    uint64_t overRate = 0;
};

/// Labels are fixed names of this program; nothing that a client chooses becomes one. One thread at a time.
class CMetrics {
public:
    CMetrics();

    /// Prometheus text.
    std::string Text(const CServerNumbers& numbers, const CProcessStatus& process);

private:
    using Labels = std::map<std::string, std::string>;
    using Gauges = prometheus::Family<prometheus::Gauge>;
    using Counters = prometheus::Family<prometheus::Counter>;

    Gauges& MakeGauges(const char* name, const char* help);
    Counters& MakeCounters(const char* name, const char* help);
    static void Set(Gauges& family, const Labels& labels, double value);
    /// Never lowers it: totals are summed while links come and go.
    static void Raise(Counters& family, const Labels& labels, double value);
    void SetWhole(const CServerNumbers& numbers);
    void SetMedium(const CMediumStatus& medium);

    prometheus::Registry m_registry;
    Gauges& m_channels;
    Gauges& m_relays;
    Gauges& m_sources;
    Gauges& m_sinks;
    Gauges& m_unvalidated;
    Gauges& m_queuedFrames;
    Gauges& m_queuedBytes;
    Counters& m_frames;
    Counters& m_bytes;
    Counters& m_packets;
    Counters& m_retransmissions;
    Counters& m_drops;
    Counters& m_datagrams;
    Counters& m_datagramBytes;
    Counters& m_requests;
    Counters& m_overRate;
    Gauges& m_signallingClients;
    Counters& m_signallingPackets;
    Gauges& m_memoryUsed;
    Gauges& m_memoryLimit;
    Counters& m_gaveWay;
    Counters& m_refusals;
    Gauges& m_ready;
    Counters& m_cpu;
    Gauges& m_memory;
    Gauges& m_files;
    Gauges& m_sockets;
    Gauges& m_mostFiles;
    Gauges& m_started;
};
