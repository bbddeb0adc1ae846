#include "tools/lumo/commands/commands.h"
#include "tools/lumo/commands/transfer_options.h"
#include "tools/lumo/media/publish_medium.h"
#include "tools/lumo/net/loop.h"
#include "tools/lumo/stats/stats_file.h"
#include "tools/lumo/transfer/file_name.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

namespace lumo {
namespace {

constexpr uint64_t kPublishTurnMs = 20;

struct PublishCommand {
    TransferOptions common;
    bool peers = false;
    std::shared_ptr<IPublishMedium> medium;

    LinkMedium Kind() const { return *MediumNamed(medium->Name()); }
};

/// What whoever publishes sees of it.
class CPublishView {
public:
    CPublishView(IPublishMedium& medium, CProgressPrinter& printer) : m_medium(medium), m_printer(printer) {}

    void Tell(uint64_t now, bool served, bool last = false) {
        if (!m_beganMs) m_beganMs = now;
        if (served && !m_servedMs) m_servedMs = now;
        TellEvents(now);
        if (!last && !m_printer.Due(now)) return;
        std::string more = served ? m_medium.Audience() : "";
        if (!m_strPointer.empty()) more += "  " + m_strPointer;
        nlohmann::json details = m_medium.Details();
        details["audience"] = m_medium.Audience();
        m_printer.Show(now, View(now, served ? "on air" : "waiting for the server", more), std::move(details));
    }
    /// The line stays, and what it came to.
    void Leave(uint64_t now) {
        m_printer.LeaveLine();
        if (!m_servedMs) return;
        const LiveView view = View(now, "", "");
        m_printer.Note("on air for " + DurationText(view.seconds) + ": " + BytesText(static_cast<double>(view.bytes)) +
                       ", " + m_medium.Summary());
    }

private:
    LiveView View(uint64_t now, const char* words, const std::string& more) const {
        const uint64_t since = m_servedMs ? *m_servedMs : m_beganMs.value_or(now);
        return {words, static_cast<double>(now - since) / 1000, m_medium.Bytes(), more};
    }
    // Where no line is drawn anew, one a second is enough to follow a pointer by.
    void TellEvents(uint64_t now) {
        constexpr uint64_t kNoteMs = 1000;
        std::string words;
        for (nlohmann::json event = m_medium.NextEvent(words); !event.is_null(); event = m_medium.NextEvent(words))
            m_printer.Event(event);
        if (!words.empty()) m_strPointer = words;
        if (m_printer.Mode() != ProgressMode::Plain || m_strPointer == m_strNoted || now - m_ullNotedMs < kNoteMs)
            return;
        m_ullNotedMs = now;
        m_strNoted = m_strPointer;
        m_printer.Note(m_strPointer);
    }

    IPublishMedium& m_medium;
    CProgressPrinter& m_printer;
    std::optional<uint64_t> m_beganMs;
    std::optional<uint64_t> m_servedMs;
    std::string m_strPointer;  // the last one
    std::string m_strNoted;
    uint64_t m_ullNotedMs = 0;
};

/// A server that has just answered has said by then whose the channel is.
void AwaitService(CLink& link, CToolLoop& loop) {
    constexpr uint64_t kMostMs = 3500;
    const uint64_t start = CToolLoop::Now();
    for (uint64_t now = start; now - start < kMostMs && !loop.Interrupted(); now = CToolLoop::Now()) {
        link.Poll(now);
        if (!link.IsTaken() || link.IsServed()) return;
        loop.Wait(-1, kPublishTurnMs);
    }
}

/// Why nothing was published; empty: it was.
std::string WhyUnpublished(const IPublishMedium& medium, const CLink& link, bool found, bool interrupted,
                           CServerWatch& watch) {
    if (!medium.Problem().empty()) return medium.Problem();
    const bool unknown = interrupted && link.IsTaken() && !watch.IsComplaint();
    return link.IsServed() || found || unknown ? "" : watch.Conclude().Text();
}

int Publish(const PublishCommand& command, const RelayRoute& route, CToolLoop& loop, CProgressPrinter& printer,
            CStatsFile& stats) {
    PeerOptions peers = command.common.ToPeers(route, SenderUser(route.channel));
    peers.peers = command.peers;
    CPeerHost host(peers);
    if (!host.Ok()) {
        printer.Error("cannot open a UDP endpoint");
        return kExitFailed;
    }
    IPublishMedium& medium = *command.medium;
    CWake wake;
    CInbox inbox(wake, 0, 0);
    std::unique_ptr<CLink> link = medium.Open(route, inbox);
    CServerWatch watch(route, command.Kind(), CServerWatch::Role::Publisher);
    CPublishView view(medium, printer);
    while (!medium.Over() && !loop.Interrupted() && !watch.InVain()) {
        const uint64_t now = CToolLoop::Now();
        link->Poll(now);
        host.Poll(now);
        const uint64_t wait = medium.Turn(now);
        SayServerNews(watch.Poll(now, link->IsServed(), link->EverTaken()), watch, printer);
        view.Tell(now, link->IsServed());
        if (stats.Due(now)) stats.Write(now, medium.Details());
        loop.Wait(medium.WaitFd(), std::min(wait, kPublishTurnMs));
    }
    AwaitService(*link, loop);
    SayServerNews(watch.Poll(CToolLoop::Now(), link->IsServed(), link->EverTaken()), watch, printer);
    view.Tell(CToolLoop::Now(), link->IsServed(), true);
    stats.Write(CToolLoop::Now(), medium.Details());
    medium.SayGoodbye();
    const std::string problem = WhyUnpublished(medium, *link, command.peers && host.Ready(), loop.Interrupted(), watch);
    const bool unserved = problem != medium.Problem();
    const int code = problem.empty() ? kExitDone : unserved && !watch.InVain() ? kExitNobody : kExitFailed;
    nlohmann::json end = medium.Details();
    view.Leave(CToolLoop::Now());
    link.reset();
    medium.Close();
    if (!problem.empty()) printer.Error(Printable(problem));
    end["event"] = "end";
    end["exit"] = code;
    end["problem"] = problem;
    end["server"] = watch.Trouble().Name();
    printer.Event(end);
    return code;
}

int Run(const PublishCommand& command) {
    CProgressPrinter printer(CProgressPrinter::Choose(command.common.json, command.common.quiet), stdout);
    const LinkOptions& links = command.common.link;
    ShareLink link;
    RelayRoute route;
    std::string problem;
    int code = kExitUsage;
    if (links.Make(command.Kind(), command.common.mcu, link, problem, code) &&
        command.common.ToRoute(link, route, problem, code)) {
        code = kExitFailed;
        CToolLoop loop;
        if (command.medium->Prepare(problem)) {
            CStatsFile stats(command.common.stats, "publish", printer);
            if (!stats.Ok()) return kExitFailed;
            links.HandOn(link, "", command.common.quiet, printer);
            return Publish(command, route, loop, printer, stats);
        }
    }
    printer.Error(Printable(problem));
    return code;
}

}  // namespace

void AddPublishCommand(CCommand& root, int& exitCode) {
    CCommand publish = root.Sub("publish", "Publish a live stream");
    publish.NeedsSub("medium");
    for (const std::shared_ptr<IPublishMedium>& medium : PublishMedia()) {
        auto command = std::make_shared<PublishCommand>();
        command->medium = medium;
        CCommand stream = publish.Sub(medium->Name(), medium->Help(), "Media");
        medium->AddOptions(stream);
        command->common.AddServerTo(stream, kTcpMakerHelp);
        command->common.AddStatsTo(stream);
        command->common.link.AddMakerTo(stream);
        stream.AddFlag("--peers", command->peers, "Let peers subscribe straight at this host too");
        stream.OnRun([command, &exitCode] { exitCode = Run(*command); });
    }
}

}  // namespace lumo
