// What the kernel itself allows an audio fan-out: the same datagrams to the same sockets by plain loops.
#include "bench/transports/audio_run.h"
#include "bench/transports/transports.h"

#include <netinet/in.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstring>
#include <set>
#include <stdexcept>

namespace bench {

namespace {

constexpr size_t kBatch = 64;

/// Answers subscribers as a local MCU does, and keeps a datagram ready for each.
class CPlainChannel {
public:
    explicit CPlainChannel(CSide& side) {
        m_socket.RaiseBuffers();
        side.Listening(m_socket.Bind(0));
        for (size_t started = 0; started < side.Spec().sinks;) started += TakeRequest() ? 1 : 0;
        side.Connected();
    }
    void SendSingly(const char* frame) {
        for (Target& target : m_targets) {
            std::memcpy(target.datagram.data() + kAudioHead, frame, kAudioFrame);
            if (sendto(m_socket.Fd(), target.datagram.data(), target.datagram.size(), 0,
                       reinterpret_cast<const sockaddr*>(&target.address), sizeof target.address) < 0)
                throw std::runtime_error("sendto");
        }
    }
    void SendMany(const char* frame) {
        for (size_t i = 0; i < m_targets.size();) {
            const size_t count = std::min(kBatch, m_targets.size() - i);
            for (size_t k = 0; k < count; ++k) Prepare(k, m_targets[i + k], frame);
            const int sent = sendmmsg(m_socket.Fd(), m_messages.data(), static_cast<unsigned>(count), 0);
            if (sent <= 0) throw std::runtime_error("sendmmsg");
            i += static_cast<size_t>(sent);
        }
    }

private:
    struct Target {
        sockaddr_in address;
        std::array<char, kAudioDatagram> datagram;
    };

    /// One request of a subscriber, whose receiver ID is its sink ID here, too. True when it is one more that starts.
    bool TakeRequest() {
        std::array<char, 64> buffer{};
        sockaddr_in from{};
        socklen_t length = sizeof from;
        const ssize_t got =
            recvfrom(m_socket.Fd(), buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr*>(&from), &length);
        wire::CWireReader request(buffer.data(), static_cast<int>(got));
        request.U8();
        const uint8_t code = request.U8();
        const uint32_t id = request.U32();
        Answer(code == media::kAudio.sink.keepAlive ? media::kAudio.sink.keepAliveAck : media::kAudio.sink.connectAck,
               id, from);
        if (code != media::kAudio.sink.keepAlive || !m_started.insert(id).second) return false;
        Target target{from, {}};
        const wire::CWireWriter head = Head(media::kAudio.sink.frame, id);
        std::memcpy(target.datagram.data(), head.Data(), kAudioHead);
        m_targets.push_back(target);
        return true;
    }
    static wire::CWireWriter Head(uint8_t code, uint32_t id) {
        return wire::CWireWriter(media::kAudio.kind, code).U32(id).U32(id);
    }
    void Answer(uint8_t code, uint32_t id, const sockaddr_in& to) const {
        const wire::CWireWriter answer = Head(code, id);
        sendto(m_socket.Fd(), answer.Data(), static_cast<size_t>(answer.Length()), 0,
               reinterpret_cast<const sockaddr*>(&to), sizeof to);
    }
    void Prepare(size_t k, Target& target, const char* frame) {
        std::memcpy(target.datagram.data() + kAudioHead, frame, kAudioFrame);
        m_parts[k] = {target.datagram.data(), target.datagram.size()};
        msghdr& header = m_messages[k].msg_hdr;
        header.msg_name = &target.address;
        header.msg_namelen = sizeof target.address;
        header.msg_iov = &m_parts[k];
        header.msg_iovlen = 1;
    }

    CSocket m_socket{SOCK_DGRAM};
    std::set<uint32_t> m_started;
    std::vector<Target> m_targets;
    std::array<iovec, kBatch> m_parts{};
    std::array<mmsghdr, kBatch> m_messages{};
};

void PublishSingly(CSide& side) {
    CPlainChannel channel(side);
    PublishAudio(side, [&](const char* frame, int) { channel.SendSingly(frame); });
}

void PublishMany(CSide& side) {
    CPlainChannel channel(side);
    PublishAudio(side, [&](const char* frame, int) { channel.SendMany(frame); });
}

void Hear(CSide& side) { HearAudio(side, Listener::Sender); }

nlohmann::json Settings() {
    return {{"datagram", kAudioDatagram}, {"sendmmsg batch", kBatch}, {"sinks", "sockets of one process, one each"}};
}

}  // namespace

std::vector<CDriver> AudioPlainDrivers() {
    return {{"audio-sendto", Role::Receiver, Listener::Sender, PublishSingly, Hear, Settings},
            {"audio-sendmmsg", Role::Receiver, Listener::Sender, PublishMany, Hear, Settings}};
}

}  // namespace bench
