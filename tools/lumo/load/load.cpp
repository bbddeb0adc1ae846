#include "tools/lumo/load/load.h"

#include <sys/resource.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <utility>

namespace lumo {
namespace {

double CpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

}  // namespace

uint64_t DatagramsDropped(unsigned short port) {
    std::ifstream table("/proc/net/udp");
    std::string line;
    std::getline(table, line);  // the head
    while (std::getline(table, line)) {
        std::istringstream fields(line);
        std::string word, address, dropped;
        fields >> word >> address;
        while (fields >> word) dropped = word;  // the last column
        const size_t colon = address.find(':');
        if (colon != std::string::npos && std::stoul(address.substr(colon + 1), nullptr, 16) == port)
            return std::stoull(dropped);
    }
    return 0;
}

CLoad::CLoad(const LoadMedium& medium, const LoadOptions& options, CToolLoop& loop, TellServer tell)
    : m_medium(medium),
      m_options(options),
      m_loop(loop),
      m_tell(std::move(tell)),
      m_watch(options.route, MediumNamed(medium.name).value_or(LinkMedium::Board), CServerWatch::Role::Subscriber),
      m_publisherInbox(m_wake, 0, 0),
      m_meter(options.subscribers, options.Frames()) {
    if (m_options.sample.empty()) return;
    m_sample.emplace(m_options.sample, [this](const std::string& frame) {
        m_frame = frame;
        m_publisher->Send(m_frame, false);
    });
}

void CLoad::Publish(uint32_t number, size_t bytes, bool key) {
    m_frame.resize(bytes, 'x');
    CLoadMeter::Stamp(m_frame, m_medium.head, number, LoadClockUs());
    m_publisher->Send(m_frame, key);
}

bool CLoad::Connect(std::string& problem) {
    if (!m_mcu.Ok()) {
        problem = "cannot open a UDP endpoint";
        return false;
    }
    const uint64_t until = CToolLoop::Now() + static_cast<uint64_t>(m_options.waitSeconds * 1000);
    m_publisher = m_medium.publish(m_options.route, m_publisherInbox);
    if (AllHear(until)) return true;
    problem = "interrupted";
    if (m_loop.Interrupted()) return false;
    const uint32_t hearing = m_meter.Hearing();
    problem = "only " + std::to_string(hearing) + " of " + std::to_string(m_options.subscribers) +
              " subscribers hear the publisher" + (hearing == 0 ? ": " + m_watch.Conclude().Text() : "");
    return false;
}

bool CLoad::AllHear(uint64_t untilMs) {
    constexpr uint64_t kWarmUpMs = 20;
    uint64_t warmedMs = 0;
    while (m_meter.Hearing() < m_options.subscribers) {
        const uint64_t now = CToolLoop::Now();
        m_tell(m_watch.Poll(now, m_meter.Hearing() > 0, m_meter.Hearing() > 0), m_watch);
        if (m_loop.Interrupted() || now > untilMs || m_watch.InVain()) return false;
        m_publisher->Link().Poll(now);
        const bool room = m_links.size() < m_meter.Hearing() + kAtOnce;
        for (uint32_t i = 0; room && i < kAtOnce && m_links.size() < m_options.subscribers; ++i) {
            const auto index = static_cast<uint32_t>(m_links.size());
            m_inboxes.push_back(std::make_unique<CInbox>(m_wake, 0, 0));
            m_links.push_back(
                m_medium.subscribe(m_options.route, *m_inboxes.back(),
                                   [this, index](const char* data, int length) { Hear(index, data, length); }));
        }
        for (const std::unique_ptr<CLink>& link : m_links) link->Poll(now);
        if (now - warmedMs >= kWarmUpMs) {
            warmedMs = now;
            PublishSign();
        }
        m_loop.Wait(-1, kTurnMs);
    }
    return true;
}

void CLoad::Hear(uint32_t subscriber, const char* data, int length) {
    const auto head = static_cast<int>(m_medium.head);
    const auto mark = m_sample ? CLoadSample::Read(data, length) : std::nullopt;
    if (mark)
        m_meter.Count(subscriber, mark->number, mark->sentUs, LoadClockUs());
    else if (length >= head)
        m_meter.OnFrame(subscriber, data + head, length - head, LoadClockUs());
}

void CLoad::PollSome() {
    constexpr size_t kTurnsASecond = 1000 / kTurnMs;
    const uint64_t now = CToolLoop::Now();
    m_publisher->Link().Poll(now);
    for (size_t left = m_links.size() / kTurnsASecond + 1; left > 0; --left)
        m_links[m_nNext++ % m_links.size()]->Poll(now);
}

void CLoad::LookAround(double leftUs) {
    PollSome();
    m_loop.Wait(-1, leftUs > 0 ? std::min<uint64_t>(static_cast<uint64_t>(leftUs / 1000) + 1, kTurnMs) : 0);
}

double CLoad::DueUs(uint64_t nowUs) {
    const auto dueMs = m_sample ? m_sample->DueMs(nowUs / 1000) : std::nullopt;
    return dueMs ? static_cast<double>(*dueMs) * 1000 : m_dDueUs;
}

void CLoad::PublishNext(uint64_t nowUs) {
    ++m_nPublished;
    if (m_sample) {
        m_sample->Send(nowUs / 1000, LoadClockUs());
        return;
    }
    const bool key = m_options.IsKey(m_nPublished);
    Publish(m_nPublished, key ? m_options.keyBytes : m_options.bytes, key);
    m_dDueUs = std::max(m_dDueUs + 1e6 / m_options.rate, static_cast<double>(nowUs));  // no burst to catch up with
}

void CLoad::Measure() {
    const double cpu = CpuSeconds();
    m_nDroppedBefore = DatagramsDropped(m_mcu.Port());
    const uint64_t start = LoadClockUs();
    uint64_t lookedUs = start;
    m_dDueUs = static_cast<double>(start);
    while (m_nPublished < m_options.Frames() && !m_loop.Interrupted()) {
        const uint64_t now = LoadClockUs();
        const double left = DueUs(now) - static_cast<double>(now);
        if (left > 0 || now - lookedUs >= kBusyUs) {
            LookAround(left);
            lookedUs = LoadClockUs();
        } else {
            PublishNext(now);
        }
    }
    m_dSeconds = static_cast<double>(LoadClockUs() - start) * 1e-6;
    m_dCpuSeconds = CpuSeconds() - cpu;
    AwaitTheLast();
}

void CLoad::AwaitTheLast() {
    constexpr uint64_t kQuietMs = 1000, kMostMs = 10000;
    const uint64_t all = uint64_t{m_nPublished} * m_options.subscribers;
    const uint64_t start = CToolLoop::Now();
    uint64_t arrived = 0, movedMs = start;
    while (m_meter.Arrived() < all && CToolLoop::Now() - movedMs < kQuietMs && CToolLoop::Now() - start < kMostMs) {
        if (m_meter.Arrived() != arrived) movedMs = CToolLoop::Now();
        arrived = m_meter.Arrived();
        m_loop.Wait(-1, kTurnMs);
    }
}

nlohmann::json CLoad::Report() const {
    const LoadReport report = m_meter.Report(m_nPublished);
    const uint64_t all = uint64_t{m_nPublished} * m_options.subscribers;
    const uint64_t lost = all - std::min(all, report.arrived);
    return {{"event", "end"},
            {"medium", m_medium.name},
            {"subscribers", m_options.subscribers},
            {"bytes", m_options.bytes},
            {"key_every", m_options.keyEvery},
            {"key_bytes", m_options.keyBytes},
            {"seconds", m_dSeconds},
            {"published", m_nPublished},
            {"wanted", all},
            {"arrived", report.arrived},
            {"lost", lost},
            {"lost_percent", all > 0 ? 100.0 * static_cast<double>(lost) / static_cast<double>(all) : 0.0},
            {"repeated", report.repeated},
            {"subscribers_with_loss", report.unlucky},
            {"dropped_by_own_socket", DatagramsDropped(m_mcu.Port()) - m_nDroppedBefore},
            {"delay_p50_ms", report.p50Ms},
            {"delay_p90_ms", report.p90Ms},
            {"delay_p99_ms", report.p99Ms},
            {"delay_max_ms", report.mostMs},
            {"cpu_percent", m_dSeconds > 0 ? 100 * m_dCpuSeconds / m_dSeconds : 0.0}};
}

std::string LoadText(const nlohmann::json& report) {
    const auto count = [&report](const char* key) { return report.value(key, 0ULL); };
    const auto figure = [&report](const char* key) { return report.value(key, 0.0); };
    char text[600], keys[80] = "";
    if (count("key_every") > 0)
        std::snprintf(keys, sizeof keys, ", one in %llu of %llu,", count("key_every"), count("key_bytes"));
    std::snprintf(text, sizeof text,
                  "%llu subscribers, %llu frames of %llu bytes%s in %.1f s\n"
                  "arrived  %llu of %llu, %llu lost (%.4f %%) at %llu subscribers, %llu twice\n"
                  "delay    p50 %.2f ms, p90 %.2f ms, p99 %.2f ms, max %.2f ms\n"
                  "here     %.0f %% of a core, %llu datagrams dropped by this process's full socket",
                  count("subscribers"), count("published"), count("bytes"), keys, figure("seconds"), count("arrived"),
                  count("wanted"), count("lost"), figure("lost_percent"), count("subscribers_with_loss"),
                  count("repeated"), figure("delay_p50_ms"), figure("delay_p90_ms"), figure("delay_p99_ms"),
                  figure("delay_max_ms"), figure("cpu_percent"), count("dropped_by_own_socket"));
    return text;
}

}  // namespace lumo
