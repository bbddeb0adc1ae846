// Subscribers of a video channel, each a session of the library behind a socket of its own.
#pragma once

#include "bench/harness/video_frames.h"
#include "bench/transports/stream_sinks.h"
#include "core/sctp_session.h"
#include "platform/lumonet/udp_arena.h"
#include "platform/lumonet/udp_sender_linux.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

namespace bench {

/// Acknowledges as the library's receivers do: what a burst calls for leaves as one batch.
class CVideoSinkSession final : public CSCTPSession {
public:
    using OnFrame = void (*)(void* context, size_t sink, const char* frame, int length);

    CVideoSinkSession(const StreamSink& sink, size_t index, uint16_t port, CUdpArena& arena, OnFrame onFrame,
                      void* context);
    ~CVideoSinkSession() override;
    /// Takes what the kernel has; the buffer has room for whatever it hands over at once.
    void Receive(std::vector<char>& buffer);
    /// Sends the acknowledgement that has waited for company for long enough.
    void CatchUp(uint64_t now);

private:
    void SendAll();
    void TakeDatagram(char* data, int length);
    void OnSCTPSessionReceivedFrame(char* frame, int length) override {
        m_onFrame(m_pContext, m_nIndex, frame, length);
    }
    void SendSCTPData(char* packet, int length) override;

    const int m_nFd;
    const uint32_t m_ulSinkID;
    const size_t m_nIndex;
    const uint16_t m_usPort;
    CUdpArena& m_arena;
    CUdpSenderLinux m_sender;
    const OnFrame m_onFrame;
    void* const m_pContext;
};

/// One thread serves all of them.
class CVideoSinks {
public:
    explicit CVideoSinks(uint16_t port);
    CVideoSinks(const CVideoSinks&) = delete;
    CVideoSinks& operator=(const CVideoSinks&) = delete;

    void GrowTo(size_t count);
    /// Serves those to whom something comes within that time. False when nothing came.
    bool Serve(int waitMs);
    size_t Count() const { return m_sessions.size(); }
    /// Frames brought to them since this was asked last.
    uint64_t TakeDelivered();
    bool AllHave(uint32_t number) const;
    CDelays& Delays() { return m_delays; }

private:
    void CatchUp();
    void OnFrame(size_t sink, const char* frame, int length);

    CStreamSinks m_sinks;
    const CFileDescriptor m_epoll;
    const std::unique_ptr<CUdpArena> m_pArena;
    std::vector<char> m_buffer;
    std::deque<CVideoSinkSession> m_sessions;
    uint64_t m_nCaughtUpAt = 0;
    std::vector<uint32_t> m_last;  // number of each one's newest frame, from 1
    const CVideoFrames m_frames = SmallVideoFrames();
    uint64_t m_nDelivered = 0;
    CDelays m_delays;
};

}  // namespace bench
