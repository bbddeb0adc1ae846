#include "tools/lumo/commands/stream_commands.h"
#include "tools/lumo/commands/transfer_options.h"
#include "tools/lumo/media/audio_links.h"
#include "tools/lumo/media/audio_publisher.h"
#include "tools/lumo/media/wall_clock.h"
#include "tools/lumo/net/loop.h"
#include "tools/lumo/transfer/file_name.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

namespace lumo {
namespace {

struct PublishCommand {
    TransferOptions common;
    std::string file;
    std::string channel;
    bool loop = false;
    bool peers = false;
};

/// The stream's bytes: a file, or standard input, which comes when it comes.
class CStreamInput {
public:
    bool Open(const std::string& path, std::string& problem) {
        if (path != "-") {
            m_owned = CUniqueFd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
            if (!m_owned) problem = path + ": " + ErrorText(errno);
        }
        m_nFd = path == "-" ? STDIN_FILENO : m_owned.Get();
        return problem.empty();
    }
    /// Bytes that are there now: 0 at the end, -1 when there are none yet.
    ssize_t Read(char* buffer, size_t size, int waitMs) const {
        pollfd ready{m_nFd, POLLIN, 0};
        if (poll(&ready, 1, waitMs) <= 0) return -1;
        const ssize_t got = read(m_nFd, buffer, size);
        return got < 0 ? 0 : got;
    }
    bool Rewind() const { return lseek(m_nFd, 0, SEEK_SET) == 0; }

private:
    CUniqueFd m_owned;
    int m_nFd = -1;
};

/// Until the publisher has the next packet to send; false at the end of the stream.
bool FetchNext(const PublishCommand& command, const CStreamInput& input, CAudioPublisher& publisher, CToolLoop& loop) {
    constexpr int kWaitMs = 50;
    std::array<char, 4096> piece;
    while (!loop.Interrupted()) {
        switch (publisher.Fetch()) {
            case CAudioPublisher::State::Ready:
                return true;
            case CAudioPublisher::State::NeedMore: {
                const ssize_t got = input.Read(piece.data(), piece.size(), kWaitMs);
                if (got > 0) publisher.Feed(piece.data(), static_cast<size_t>(got));
                if (got == 0) publisher.Finish();
                loop.Wait(-1, 0);
                break;
            }
            case CAudioPublisher::State::End:
                if (!command.loop || !input.Rewind()) return false;
                publisher.Rewind();
                break;
            case CAudioPublisher::State::Failed:
                return false;
        }
    }
    return false;
}

int Publish(const PublishCommand& command, const RelayRoute& route, const CStreamInput& input, CToolLoop& loop,
            CProgressPrinter& printer) {
    PeerOptions peers = command.common.ToPeers(route, SenderUser(route.channel));
    peers.peers = command.peers;
    CPeerHost host(peers);
    if (!host.Ok()) {
        printer.Error("cannot open a UDP endpoint");
        return kExitFailed;
    }
    CWake wake;
    CInbox inbox(wake, 0, 0);
    const AudioChannelPtr channel(new CAudioChannel(route.channel));
    CAudioPublishLink link(route, inbox);
    CAudioPublisher publisher(
        [&](const std::string& frame) { channel->OnAudioChannelData(frame.data(), static_cast<int>(frame.size())); });
    const uint64_t started = CToolLoop::Now();
    while (FetchNext(command, input, publisher, loop)) {
        uint64_t now = CToolLoop::Now();
        while (!loop.Interrupted() && now < started + publisher.DueMs()) {
            link.Poll(now);
            host.Poll(now);
            loop.Wait(-1, std::min<uint64_t>(started + publisher.DueMs() - now, 20));
            now = CToolLoop::Now();
        }
        publisher.Send(now, WallClockUs());
        if (printer.Due(now))
            printer.Show(now, {"publishing",
                               publisher.Bytes(),
                               0,
                               publisher.Bytes(),
                               {{"packets", publisher.Packets()}, {"listeners", channel->GetAudioSinkCount()}}});
    }
    publisher.SayGoodbye(WallClockUs());
    link.Close();
    printer.Event({{"event", "end"}, {"packets", publisher.Packets()}, {"problem", publisher.Problem()}});
    if (publisher.Problem().empty()) return kExitDone;
    printer.Error(Printable(publisher.Problem()));
    return kExitFailed;
}

int Run(const PublishCommand& command) {
    CProgressPrinter printer(CProgressPrinter::Choose(command.common.json, command.common.quiet), stdout);
    const uint32_t channel =
        command.channel.empty() ? static_cast<uint32_t>(RandomID() >> 32) | 1U : ParseChannel(command.channel);
    RelayRoute route;
    CStreamInput input;
    std::string problem = channel == 0 ? "the channel must be a number from 1 to 4294967295" : "";
    int code = kExitUsage;
    if (problem.empty() && command.common.ToRoute(channel, route, problem, code)) {
        code = kExitFailed;
        CToolLoop loop;
        if (input.Open(command.file, problem)) {
            const std::string line = "lumo subscribe audio " + std::to_string(channel) + " --mcu " + route.mcu.Text();
            printer.Event({{"event", "ready"}, {"channel", channel}, {"command", line}});
            if (printer.Mode() != ProgressMode::Json && !command.common.quiet) std::printf("%s\n", line.c_str());
            std::fflush(stdout);
            return Publish(command, route, input, loop, printer);
        }
    }
    printer.Error(Printable(problem));
    return code;
}

}  // namespace

void AddPublishCommand(CLI::App& app, int& exitCode) {
    auto command = std::make_shared<PublishCommand>();
    CLI::App* publish = app.add_subcommand("publish", "Publish a live stream")->require_subcommand(1);
    CLI::App* audio = publish->add_subcommand("audio", "An Ogg Opus stream, at its own pace");
    audio->add_option("FILE", command->file, "An Ogg Opus file; - is standard input")->required();
    command->common.AddServerTo(*audio);
    audio->add_option("--channel", command->channel, "Number under which subscribers find it; random unless given");
    audio->add_flag("--loop", command->loop, "Begin again at the end, until interrupted");
    audio->add_flag("--peers", command->peers, "Let peers subscribe straight at this host too");
    audio->callback([command, &exitCode] { exitCode = Run(*command); });
}

}  // namespace lumo
