// An application of any medium under one set of names: its channel, what it makes, and what it is told.
#pragma once

#include "link/mcu_address.h"
#include "link/media.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

/// What a factory gave, or nothing; released with this object at the latest.
class CMade {
public:
    CMade() = default;
    template <class T>
    explicit CMade(T* object) {
        if (!object) return;
        IsDisconnected = [object] { return object->IsDisconnected(); };
        AskForRelease = [object] { object->ReleaseConnections(); };
        if constexpr (requires { object->SetEnable(true); })
            SetEnable = [object](bool enable) {
                object->SetEnable(enable);
                return object->IsEnable();
            };
        if constexpr (requires { object->RequestKeyFrame(); })
            RequestKeyFrame = [object] { object->RequestKeyFrame(); };
        m_pObject = {object, [](T* made) { made->ReleaseConnections(); }};
    }
    explicit operator bool() const { return m_pObject != nullptr; }
    void Release() { m_pObject.reset(); }
    /// The interface that the factory gave.
    template <class T>
    T& As() const {
        return *static_cast<T*>(m_pObject.get());
    }

    std::function<bool()> IsDisconnected;
    std::function<void()> AskForRelease;            // which may be refused
    std::function<bool(bool)> SetEnable;            // gives what IsEnable says then
    std::function<void()> RequestKeyFrame = [] {};  // of video alone

private:
    std::shared_ptr<void> m_pObject;
};

/// The public operations of a medium. Over TCP everything goes by `kProxy`.
class CMediumApp {
public:
    static constexpr uint32_t kChannelID = 77;
    static constexpr uint32_t kUserID = 0x0102;
    static constexpr uint32_t kPeerUser = 8;
    static constexpr const char* kProxy = "3 proxy 1080 user secret";

    CMediumApp() = default;
    virtual ~CMediumApp() = default;
    CMediumApp(const CMediumApp&) = delete;
    CMediumApp& operator=(const CMediumApp&) = delete;

    virtual void Write(std::string frame) = 0;
    /// Frames that wait, as the channel counts them.
    virtual uint32_t Buffering() = 0;
    virtual size_t SinkCount() = 0;
    virtual bool IsEmpty() = 0;
    virtual void ReleaseChannel() = 0;
    /// Leaves the channel to the local MCU.
    virtual void LeaveChannel() = 0;

    virtual CMade Sender(bool tcp, const CMcuAddress& server) = 0;
    virtual CMade Receiver(bool tcp, const CMcuAddress& publishers, const CMcuAddress& near = {},
                           bool publishersOnly = false) = 0;
    virtual CMade PeerReceiver(bool tcp) = 0;

    /// What the local MCU knows of the medium.
    virtual bool IsSinkDisconnected(uint32_t sinkID) = 0;
    virtual std::vector<uint32_t> SinkIDs() = 0;
    virtual std::vector<uint32_t> ReceiverIDs() = 0;
    virtual void EndAllSinks() = 0;

    /// The channel as its own class.
    template <class TChannel>
    TChannel& As() {
        return *static_cast<TChannel*>(Channel());
    }

    void OnConnected(unsigned long ip) {
        if (ip != 0) connected.push_back(static_cast<uint32_t>(ip));
        if (whenConnected) whenConnected();
    }
    void OnData(const void* data, int length) {
        delivered.emplace_back(static_cast<const char*>(data), static_cast<size_t>(length));
    }

    uint32_t asksFor = kChannelID;  // the channel that the factories are given
    std::vector<uint32_t> connected;
    std::vector<std::string> delivered;  // frames from either side; of a key frame request its name
    bool isChannelDeleted = false;
    static inline std::function<void()> whenConnected;  // of all applications

    static constexpr const char* kKeyFrameRequest = "key frame request";

protected:
    virtual void* Channel() = 0;
};

/// A medium, and where it behaves as others do not: numbers and rules that its row does not say to tests.
struct CTestMedium {
    const CMediumRow& row;
    std::unique_ptr<CMediumApp> (*make)(uint32_t channelID);
    size_t keepAliveAcks;       ///< that a sink sends for each keep-alive
    bool releaseEndsAll;        ///< releasing one channel ends the sinks of all
    bool ownsChannels;          ///< the local MCU deletes those that are left
    bool needsChannel;          ///< a receiver is attached to a channel of this host
    uint32_t failedPeerMs = 0;  ///< how long a receiver asks on when the way to its peer has failed
};
inline std::ostream& operator<<(std::ostream& out, const CTestMedium& medium) { return out << medium.row.name; }

extern const CTestMedium kAudio, kVideo, kWhiteboard, kDesktop, kFile;
