// The two ends of an audio run, whichever way the frames go: a burst is measured by when its datagrams arrive, then the
// delay at the pace of speech.
#pragma once

#include "bench/harness/delays.h"
#include "bench/transports/stream_sinks.h"

#include <array>
#include <cstdint>
#include <functional>

namespace bench {

inline constexpr int kAudioFrame = 160;
inline constexpr int kAudioHead = 10;                            // of a datagram, before the frame
inline constexpr int kAudioDatagram = kAudioHead + kAudioFrame;  // of every way that is compared

/// The publishing side, once everybody is connected, until the run is over.
void PublishAudio(CSide& side, const std::function<void(const char* frame, int length)>& send);

/// Makes what was published of what came at a sink; false: it is none of it.
using AudioOpen = std::function<bool(char*& frame, int& length)>;

/// The subscribing side: spec.sinks sockets in this process. They are read only when a burst is over, so that nobody
/// wakes while one is measured; the kernel has noted when each datagram came.
void HearAudio(CSide& side, Listener where, const AudioOpen& open = nullptr);

/// What the socket's datagrams are and when they came; one thread.
class CStampedReceiver {
public:
    CStampedReceiver();
    /// Every datagram that waits at the socket; take(data, length, arrivedNs), which may write into it.
    template <class Take>
    void TakeAll(const CSocket& socket, Take take) {
        for (size_t got = Receive(socket); got > 0; got = got == kBatch ? Receive(socket) : 0)
            for (size_t i = 0; i < got; ++i) take(m_buffers[i].data(), Length(i), ArrivedNs(i));
    }
    static void Prepare(CSocket& socket);

private:
    static constexpr size_t kBatch = 32;
    struct alignas(cmsghdr) Control {
        char bytes[CMSG_SPACE(sizeof(timespec))];
    };
    size_t Receive(const CSocket& socket);
    int Length(size_t i) const { return static_cast<int>(m_messages[i].msg_len); }
    int64_t ArrivedNs(size_t i);

    std::array<std::array<char, 256>, kBatch> m_buffers{};
    std::array<iovec, kBatch> m_parts{};
    std::array<Control, kBatch> m_controls{};
    std::array<mmsghdr, kBatch> m_messages{};
};

}  // namespace bench
