#include "bench/transports/video_sinks.h"

#include "bench/harness/video_frames.h"
#include "platform/lumobase/clock.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace bench {

namespace {
constexpr int kEvents = 64;
constexpr uint64_t kCatchUpUs = 2000;
}  // namespace

CVideoSinkSession::CVideoSinkSession(const StreamSink& sink, size_t index, uint16_t port, CUdpArena& arena,
                                     OnFrame onFrame, void* context)
    : m_nFd(sink.socket.Fd()),
      m_ulSinkID(sink.sinkID),
      m_nIndex(index),
      m_usPort(port),
      m_arena(arena),
      m_sender(m_nFd, {}),
      m_onFrame(onFrame),
      m_pContext(context) {
    if (!OpenSession()) throw std::runtime_error("no session");
}

CVideoSinkSession::~CVideoSinkSession() { CloseSession(); }

void CVideoSinkSession::Receive(std::vector<char>& buffer) {
    size_t segment = 0;
    const size_t length = ReceiveRun(m_nFd, buffer.data(), buffer.size(), segment);
    for (size_t at = 0; at < length; at += segment)
        TakeDatagram(buffer.data() + at, static_cast<int>(std::min(segment, length - at)));
    SendAll();
}

void CVideoSinkSession::CatchUp(uint64_t now) {
    const uint64_t due = DueAt();
    if (due == 0 || due > now) return;
    DoDue(now);
    SendAll();
}

void CVideoSinkSession::SendAll() {
    m_sender.Send(m_arena.Runs(), m_arena.Bytes());
    m_arena.Clear();
}

void CVideoSinkSession::TakeDatagram(char* data, int length) {
    wire::CWireReader head(data, length);
    if (head.U8() != static_cast<uint8_t>(media::kVideo.kind) || head.U8() != media::kVideo.sink.frame) return;
    head.U32();
    const bool ours = head.U32() == m_ulSinkID;
    if (ours) OnSCTPSessionReceivedData(data + length - head.Left(), head.Left());
}

void CVideoSinkSession::SendSCTPData(char* packet, int length) {
    const wire::CWireWriter head = wire::CWireWriter(media::kVideo.kind, media::kVideo.sink.frameAck).U32(m_ulSinkID);
    std::memcpy(packet - head.Length(), head.Data(), static_cast<size_t>(head.Length()));
    m_arena.Add(packet - head.Length(), static_cast<uint32_t>(length + head.Length()), kLoopback, m_usPort, 0);
}

CVideoSinks::CVideoSinks(uint16_t port)
    : m_sinks(media::kVideo, port, Listener::Sender),
      m_epoll(epoll_create1(EPOLL_CLOEXEC)),
      m_pArena(CUdpArena::Make()),
      m_buffer(65536) {
    if (!m_epoll || !m_pArena) throw std::runtime_error("no memory for sinks");
}

void CVideoSinks::GrowTo(size_t count) {
    const size_t first = m_sessions.size();
    m_sinks.GrowTo(count);
    m_last.resize(count, 0);
    const auto onFrame = [](void* self, size_t sink, const char* frame, int length) {
        static_cast<CVideoSinks*>(self)->OnFrame(sink, frame, length);
    };
    for (size_t i = first; i < count; ++i) {
        StreamSink& sink = m_sinks.All()[i];
        sink.socket.CoalesceReceived();
        epoll_event event{EPOLLIN, {.u64 = i}};
        if (epoll_ctl(m_epoll.Get(), EPOLL_CTL_ADD, sink.socket.Fd(), &event) != 0) throw std::runtime_error("epoll");
        m_sessions.emplace_back(sink, i, m_sinks.Port(), *m_pArena, onFrame, this);
    }
}

bool CVideoSinks::Serve(int waitMs) {
    std::array<epoll_event, kEvents> events{};
    const int count = epoll_wait(m_epoll.Get(), events.data(), kEvents, waitMs);
    for (int i = 0; i < count; ++i) m_sessions[events.at(static_cast<size_t>(i)).data.u64].Receive(m_buffer);
    CatchUp();
    return count > 0;
}

void CVideoSinks::CatchUp() {
    const uint64_t now = Lumo_Base::GetMicroseconds();
    if (now < m_nCaughtUpAt + kCatchUpUs) return;
    m_nCaughtUpAt = now;
    for (CVideoSinkSession& session : m_sessions) session.CatchUp(now);
}

void CVideoSinks::OnFrame(size_t sink, const char* frame, int length) {
    const FrameStamp stamp = m_frames.Check(frame, length);
    if (stamp.number <= m_last[sink]) throw std::runtime_error("a frame came late or twice");
    m_last[sink] = stamp.number;
    ++m_nDelivered;
    m_delays.Add(NowNs() - stamp.sentNs);
}

uint64_t CVideoSinks::TakeDelivered() { return std::exchange(m_nDelivered, 0); }

bool CVideoSinks::AllHave(uint32_t number) const {
    return std::all_of(m_last.begin(), m_last.end(), [&](uint32_t last) { return last >= number; });
}

}  // namespace bench
