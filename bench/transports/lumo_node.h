// What the library's drivers share: a local MCU, a channel, a receiver that reaches a publisher without a server.
#pragma once

#include "bench/harness/driver.h"
#include "bench/harness/frames.h"
#include "lumomedia/lumomedia.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace bench {

inline constexpr uint32_t kChannelID = 0x62656E63;
inline constexpr uint32_t kFramesQueued = 32;  // how far the application runs ahead of its channel
inline constexpr int kConnectMs = 10000;

using FrameHandler = std::function<void(const char* data, int length)>;
/// What an application does to a frame before a channel gets it; `send` is the channel.
using Before = std::function<void(const char* data, int length, const FrameHandler& send)>;

/// This process's local MCU, and the peer-to-peer manager that direct receivers need.
class CLumoHost : private IP2PNotify {
public:
    CLumoHost();
    virtual ~CLumoHost();
    CLumoHost(const CLumoHost&) = delete;
    CLumoHost& operator=(const CLumoHost&) = delete;

    /// As if the publisher had announced itself: a process on loopback at that port.
    void AnnouncePublisher(uint16_t port);

    uint16_t Port() const { return m_pManager->GetLocalPort(); }

    static constexpr uint32_t kUser = 1;  // every process's: nobody asks who is who

private:
    void OnP2PNotifySendCmd(unsigned long, CCmdPacket&) override {}
    void OnP2PNotifyGetP2PItem(P2PItem& item) override;
    unsigned long OnP2PNotifyGetUserID() override { return kUser; }
    void OnP2PNotifyNATAddress(unsigned long, unsigned short) override {}

    IP2P* m_pPeers;  // before the local MCU, and after it
    ILocalMcuMgr* m_pManager;
};

/// The same with one connected file channel.
class CLumoNode : public CLumoHost {
public:
    /// `onUpstream` gets what subscribers send, on a thread of the library.
    explicit CLumoNode(FrameHandler onUpstream = nullptr);
    ~CLumoNode() override;

    CFileChannel& Channel() { return *m_pChannel; }
    /// Throws when they do not come in time.
    void WaitForSinks(uint32_t count);
    /// The whole bulk, as fast as the channel takes it, at most `ahead` frames before `received()` (0: no matter).
    void SendBulk(CSide& side, uint32_t ahead = 0, const std::function<uint32_t()>& received = nullptr,
                  const Before& before = nullptr);

private:
    std::unique_ptr<CFileChannel> m_pChannel;
};

/// Waits for something that the library brings about; throws when it does not.
void WaitFor(const char* what, const std::function<bool()>& done);
/// The frames of a bulk, each as soon as `ready` lets it.
void SendFrames(CSide& side, const std::function<bool(uint32_t made)>& ready,
                const std::function<void(const char* data, int length)>& send);

/// The publishing side of a bulk: one subscriber comes to this process's own local MCU.
void PublishBulk(CSide& side, const Before& before);
inline void PublishBulk(CSide& side) { PublishBulk(side, nullptr); }

/// Version and what is the same for all of the library's drivers.
nlohmann::json LumoSettings(const char* path);

}  // namespace bench
