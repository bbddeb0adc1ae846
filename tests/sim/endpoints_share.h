// The media of shares, files and desktops, as the scenario list sees them.
#pragma once

#include "desktop/local_mcu_desktop.h"
#include "file/local_mcu_file.h"
#include "lumomedia/desktop.h"
#include "lumomedia/file.h"
#include "sim/endpoint_sides.h"
#include "support/session_wire.h"

namespace share_endpoints {

using session_wire::ReadU32;
using session_wire::U32;

inline constexpr uint32_t kChannelID = 77;
inline constexpr uint32_t kPeerID = 0x01020304;
inline constexpr uint32_t kPeerUser = 8;

/// Kind and command, readable.
struct Codes {
    const char *connect, *connectAck, *keepAlive, *keepAliveAck, *frame, *frameAck, *disconnect;
    const char *sourceConnectAck, *sourceFrame, *sourceFrameAck, *sourceKeepAlive, *sourceDisconnect;
};

struct File {
    using Sender = IFileSender;
    using Receiver = IFileReceiver;
    class CChannel : public CFileChannel {
    public:
        explicit CChannel(std::vector<std::string>& upstream) : CFileChannel(kChannelID), m_upstream(upstream) {
            Connect();
        }
        void OnFileSinkData(const void* data, int length) override {
            m_upstream.emplace_back(static_cast<const char*>(data), static_cast<size_t>(length));
        }
        void Write(const std::string& frame) { OnFileChannelData(frame.data(), static_cast<int>(frame.size())); }

    private:
        std::vector<std::string>& m_upstream;
    };
    class CNotify final : public IFileSenderNotify, public IFileReceiverNotify {
    public:
        explicit CNotify(std::vector<std::string>& delivered) : m_delivered(delivered) {}
        void OnFileSenderNotifyConnected(unsigned long ip, bool taken) override { connected += taken && ip != 0; }
        void OnFileReceiverNotifyConnected(unsigned long ip) override { connected += ip != 0; }
        void OnFileReceiverNotifyData(const char* data, int length) override { m_delivered.emplace_back(data, length); }
        CConnects connected;

    private:
        std::vector<std::string>& m_delivered;
    };
    static constexpr Codes kCodes{"0639", "063a", "063b", "063c", "063d", "063e",
                                  "063f", "0641", "0642", "0643", "0644", "0646"};
    static constexpr uint32_t kSenderType = 12, kReceiverType = 13;
    static constexpr bool kChannelCountsReceiver = true;  // in its report of what waits
    static CShareMcu::CTables& Tables() { return GetLocalMCUFile()->Tables(); }
    static constexpr auto kSenderUDP = CreateFileSenderUDP;
    static constexpr auto kSenderTCP = CreateFileSenderTCP;
    static constexpr auto kReceiverUDP = CreateFileReceiverUDP;
    static constexpr auto kReceiverTCP = CreateFileReceiverTCP;
    static constexpr auto kReceiverP2P = CreateFileReceiverP2P;
    static constexpr auto kReceiverP2PTCP = CreateFileReceiverP2PTCP;
};

struct Desktop {
    using Sender = IDesktopSender;
    using Receiver = IDesktopReceiver;
    class CChannel : public CDesktopChannel {
    public:
        explicit CChannel(std::vector<std::string>& upstream) : CDesktopChannel(kChannelID), m_upstream(upstream) {
            Connect();
        }
        void OnDesktopSinkData(const void* data, int length) override {
            m_upstream.emplace_back(static_cast<const char*>(data), static_cast<size_t>(length));
        }
        void Write(const std::string& frame) { OnDesktopChannelData(frame.data(), static_cast<int>(frame.size())); }

    private:
        std::vector<std::string>& m_upstream;
    };
    class CNotify final : public IDesktopSenderNotify, public IDesktopReceiverNotify {
    public:
        explicit CNotify(std::vector<std::string>& delivered) : m_delivered(delivered) {}
        void OnDesktopSenderNotifyConnected(unsigned long ip) override { connected += ip != 0; }
        void OnDesktopReceiverNotifyConnected(unsigned long ip) override { connected += ip != 0; }
        void OnDesktopReceiverNotifyData(const char* data, int length) override {
            m_delivered.emplace_back(data, length);
        }
        CConnects connected;

    private:
        std::vector<std::string>& m_delivered;
    };
    static constexpr Codes kCodes{"052b", "052c", "052d", "052e", "052f", "0530",
                                  "0531", "0533", "0534", "0535", "0536", "0538"};
    static constexpr uint32_t kSenderType = 10, kReceiverType = 11;
    static constexpr bool kChannelCountsReceiver = false;
    static CShareMcu::CTables& Tables() { return GetLocalMCUDesktop()->Tables(); }
    static constexpr auto kSenderUDP = CreateDesktopSenderUDP;
    static constexpr auto kSenderTCP = CreateDesktopSenderTCP;
    static constexpr auto kReceiverUDP = CreateDesktopReceiverUDP;
    static constexpr auto kReceiverTCP = CreateDesktopReceiverTCP;
    static constexpr auto kReceiverP2P = CreateDesktopReceiverP2P;
    static constexpr auto kReceiverP2PTCP = CreateDesktopReceiverP2PTCP;
};

template <class M>
class CShareEndpoint : public IEndpoint {
public:
    explicit CShareEndpoint(CTestHost& host) : m_host(host), m_notify(delivered), m_channel(delivered) {}
    void Write(const std::string& frame) override { m_channel.Write(frame); }
    uint32_t Buffering() override { return static_cast<uint32_t>(m_channel.GetBufferingFrameCount()); }
    int NotifiedConnected() override { return m_notify.connected.count; }

protected:
    CTestHost& m_host;
    typename M::CNotify m_notify;
    typename M::CChannel m_channel;
};

/// Who derives makes it.
template <class M>
class CShareDatagrams : public CSessionEndpoint<CShareEndpoint<M>> {
public:
    using CSessionEndpoint<CShareEndpoint<M>>::CSessionEndpoint;

protected:
    static constexpr const Codes& kCodes = M::kCodes;
    /// A command and its ID.
    static std::string Say(const char* code, uint32_t id) { return Hex(code) + U32(id); }
    size_t EnvelopeOut() const override { return 6; }
};

/// What the application makes and releases; who derives makes it.
template <class M, class TObject>
class CShareClient : public CShareDatagrams<M> {
public:
    using CShareDatagrams<M>::CShareDatagrams;
    ~CShareClient() override {
        if (m_pObject) m_pObject->ReleaseConnections();
    }
    bool IsDisconnected() override { return m_pObject->IsDisconnected(); }
    bool TryRelease() override {
        m_pObject->ReleaseConnections();
        return true;
    }
    void Release() override {
        TryRelease();
        m_pObject = nullptr;
    }

protected:
    TObject* m_pObject = nullptr;
    uint32_t m_ulID = 0;
};

/// The subscriber over datagrams.
template <class M>
class CShareReceiverSide : public CShareClient<M, typename M::Receiver> {
public:
    using CShareClient<M, typename M::Receiver>::CShareClient;
    void Accept() override { this->m_host.Deliver(ToReceiver(M::kCodes.connectAck)); }
    std::vector<std::string> InboundDatagrams() override {
        return {ToReceiver(M::kCodes.connectAck), ToReceiver(M::kCodes.keepAliveAck),
                FrameIn() + session_wire::Data(0, "down")};
    }

protected:
    /// Made by now.
    void FindID() {
        for (CShareReceiver& receiver : M::Tables().receivers.Each()) this->m_ulID = receiver.ReceiverID();
        this->m_host.TakeSent();
    }
    std::string ToReceiver(const char* code) const { return this->Say(code, this->m_ulID) + U32(600); }
    std::string FrameOut() const override { return Hex(M::kCodes.frameAck); }
    std::string FrameIn() const override { return ToReceiver(M::kCodes.frame); }
    std::string KeepAliveOut() const override { return this->Say(M::kCodes.keepAlive, 600); }
    std::string GoodbyeOut() const override { return this->Say(M::kCodes.disconnect, 600); }
};

template <class M>
class CShareTcpReceiver : public CTcpDialler<CShareEndpoint<M>, typename M::Receiver, M::kReceiverType, kChannelID> {
public:
    using CTcpDialler<CShareEndpoint<M>, typename M::Receiver, M::kReceiverType, kChannelID>::CTcpDialler;
    uint32_t Buffering() override {
        return M::kChannelCountsReceiver ? CShareEndpoint<M>::Buffering() : static_cast<uint32_t>(this->m_pTcp->queued);
    }
};

}  // namespace share_endpoints
