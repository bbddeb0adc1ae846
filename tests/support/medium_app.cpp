#include "support/medium_app.h"

#include "audio/audio_sink.h"
#include "audio/local_mcu_audio.h"
#include "desktop/local_mcu_desktop.h"
#include "file/local_mcu_file.h"
#include "lumomedia/audio.h"
#include "lumomedia/desktop.h"
#include "lumomedia/file.h"
#include "lumomedia/video.h"
#include "lumomedia/whiteboard.h"
#include "video/local_mcu_video.h"
#include "video/video_sink.h"
#include "whiteboard/local_mcu_wb.h"

namespace {

constexpr unsigned short kProxyPort = 1080;

int Length(const std::string& frame) { return static_cast<int>(frame.size()); }

template <class TBase>
class CAppChannel : public TBase {
public:
    using TChannel = TBase;
    CAppChannel(uint32_t channelID, CMediumApp& app) : TBase(channelID), m_app(app) {}
    ~CAppChannel() override { m_app.isChannelDeleted = true; }

protected:
    CMediumApp& m_app;
};

// Each is a medium's channel and what its endpoints tell, and names its factories.
class CFileApp final : public CAppChannel<CFileChannel>, public IFileSenderNotify, public IFileReceiverNotify {
public:
    CFileApp(uint32_t channelID, CMediumApp& app) : CAppChannel(channelID, app) { Connect(); }
    void OnFileSinkData(const void* data, int length) override { m_app.OnData(data, length); }
    void OnFileReceiverNotifyData(const char* data, int length) override { m_app.OnData(data, length); }
    void OnFileReceiverNotifyConnected(unsigned long ip) override { m_app.OnConnected(ip); }
    void OnFileSenderNotifyConnected(unsigned long ip, bool taken) override { m_app.OnConnected(taken ? ip : 0); }
    void Write(const std::string& frame) { OnFileChannelData(frame.data(), Length(frame)); }
    unsigned long SinkCount() { return GetFileSinkCount(); }

    static constexpr const CMediumRow& kRow = media::kFile;
    static auto& Tables() { return GetLocalMCUFile()->Tables(); }
    static constexpr auto kSenderUDP = CreateFileSenderUDP;
    static constexpr auto kSenderTCP = CreateFileSenderTCP;
    static constexpr auto kReceiverUDP = CreateFileReceiverUDP;
    static constexpr auto kReceiverTCP = CreateFileReceiverTCP;
    static constexpr auto kReceiverP2P = CreateFileReceiverP2P;
    static constexpr auto kReceiverP2PTCP = CreateFileReceiverP2PTCP;
};

class CDesktopApp final : public CAppChannel<CDesktopChannel>,
                          public IDesktopSenderNotify,
                          public IDesktopReceiverNotify {
public:
    CDesktopApp(uint32_t channelID, CMediumApp& app) : CAppChannel(channelID, app) { Connect(); }
    void OnDesktopSinkData(const void* data, int length) override { m_app.OnData(data, length); }
    void OnDesktopReceiverNotifyData(const char* data, int length) override { m_app.OnData(data, length); }
    void OnDesktopReceiverNotifyConnected(unsigned long ip) override { m_app.OnConnected(ip); }
    void OnDesktopSenderNotifyConnected(unsigned long ip) override { m_app.OnConnected(ip); }
    void Write(const std::string& frame) { OnDesktopChannelData(frame.data(), Length(frame)); }
    unsigned long SinkCount() { return GetDesktopSinkCount(); }

    static constexpr const CMediumRow& kRow = media::kDesktop;
    static auto& Tables() { return GetLocalMCUDesktop()->Tables(); }
    static constexpr auto kSenderUDP = CreateDesktopSenderUDP;
    static constexpr auto kSenderTCP = CreateDesktopSenderTCP;
    static constexpr auto kReceiverUDP = CreateDesktopReceiverUDP;
    static constexpr auto kReceiverTCP = CreateDesktopReceiverTCP;
    static constexpr auto kReceiverP2P = CreateDesktopReceiverP2P;
    static constexpr auto kReceiverP2PTCP = CreateDesktopReceiverP2PTCP;
};

class CAudioApp final : public CAppChannel<CAudioChannel>, public IAudioSenderNotify, public IAudioReceiverNotify {
public:
    using CAppChannel::CAppChannel;
    void OnAudioData(const char* data, int length) override { m_app.OnData(data, length); }
    void OnConnected(unsigned long ip) override { m_app.OnConnected(ip); }
    void Write(const std::string& frame) { OnAudioChannelData(frame.data(), Length(frame)); }
    unsigned long SinkCount() { return GetAudioSinkCount(); }

    static constexpr const CMediumRow& kRow = media::kAudio;
    static auto& Tables() { return GetLocalMCUAudio()->Tables(); }
    static constexpr auto kSenderUDP = CreateAudioSenderUDP;
    static constexpr auto kSenderTCP = CreateAudioSenderTCP;
    static constexpr auto kReceiverUDP = CreateAudioReceiverUDP;
    static constexpr auto kReceiverTCP = CreateAudioReceiverTCP;
    static constexpr auto kReceiverP2P = CreateAudioReceiverP2P;
};

class CVideoApp final : public CAppChannel<CVideoChannel>, public IVideoSenderNotify, public IVideoReceiverNotify {
public:
    using CAppChannel::CAppChannel;
    void OnVideoData(const char* data, int length) override { m_app.OnData(data, length); }
    void OnConnected(unsigned long ip) override { m_app.OnConnected(ip); }
    void OnKeyFrameRequest() override { m_app.delivered.emplace_back(CMediumApp::kKeyFrameRequest); }
    void Write(std::string frame) { OnVideoChannelData(frame.data(), Length(frame)); }
    unsigned long SinkCount() { return GetVideoSinkCount(); }

    static constexpr const CMediumRow& kRow = media::kVideo;
    static auto& Tables() { return GetLocalMCUVideo()->Tables(); }
    static constexpr auto kSenderUDP = CreateVideoSenderUDP;
    static constexpr auto kSenderTCP = CreateVideoSenderTCP;
    static constexpr auto kReceiverUDP = CreateVideoReceiverUDP;
    static constexpr auto kReceiverTCP = CreateVideoReceiverTCP;
    static constexpr auto kReceiverP2P = CreateVideoReceiverP2P;
};

/// Frames are messages to its latest session, past the centre.
class CBoardApp final : public CAppChannel<CWBChannel>, public IWBSessionClientNotify {
public:
    CBoardApp(uint32_t channelID, CMediumApp& app) : CAppChannel(channelID, app) { Connect(); }
    void OnWBChannelData(unsigned long session, const char* data, int length) override {
        m_app.OnData(data, length);
        CWBChannel::OnWBChannelData(session, data, length);
    }
    void OnWBSessionClientNotifyConnected(unsigned long ip) override { m_app.OnConnected(ip); }
    void AddWBSession(CWBSession* session) override {
        m_ulSessionID = session->GetWBSessionID();
        CWBChannel::AddWBSession(session);
    }
    void Write(const std::string& frame) { SendWBData(m_ulSessionID, frame.data(), Length(frame)); }
    unsigned long SinkCount() { return GetWBSessionCount(); }
    static unsigned long GetBufferingFrameCount() {
        unsigned long count = 0;
        for (CWBServerSession& one : Tables().sinks.Each()) count += one.GetBufferingFrameCount();
        for (CWBClientUDP& one : Tables().receivers.Each()) count += one.GetFrameLink()->QueuedFrames();
        return count;
    }

    static constexpr const CMediumRow& kRow = media::kWhiteboard;
    static CLocalMCUWB::CTables& Tables() { return GetLocalMCUWB()->Tables(); }
    static constexpr auto kReceiverUDP = CreateWBSessionClientUDP;
    static constexpr auto kReceiverTCP = CreateWBSessionClientTCP;
    static constexpr auto kReceiverP2P = CreateWBSessionClientP2P;
    static constexpr auto kReceiverP2PTCP = CreateWBSessionClientP2PTCP;

private:
    unsigned long m_ulSessionID = 0;
};

template <class TApp>
class CAppOf final : public CMediumApp {
public:
    explicit CAppOf(uint32_t channelID) : m_pApp(new TApp(channelID, *this)) {}

    void Write(std::string frame) override { m_pApp->Write(std::move(frame)); }
    uint32_t Buffering() override { return static_cast<uint32_t>(m_pApp->GetBufferingFrameCount()); }
    size_t SinkCount() override { return m_pApp->SinkCount(); }
    bool IsEmpty() override { return m_pApp->IsEmpty(); }
    void ReleaseChannel() override { m_pApp->ReleaseConnections(); }
    void LeaveChannel() override { m_pApp.release(); }

    CMade Sender(bool tcp, const CMcuAddress& server) override {
        if constexpr (requires { TApp::kSenderUDP; }) {
            const auto make = [&](auto create, auto... rest) {
                return CMade(
                    create(*m_pApp, asksFor, server.ips[0], server.ips[1], server.ips[2], server.port, rest...));
            };
            return tcp ? make(TApp::kSenderTCP, 3, "proxy", kProxyPort, "user", "secret") : make(TApp::kSenderUDP);
        }
        return {};
    }
    CMade Receiver(bool tcp, const CMcuAddress& publishers, const CMcuAddress& near, bool publishersOnly) override {
        const auto make = [&](auto create, auto... rest) {
            return CMade(create(*m_pApp, asksFor, publishers.ips[0], publishers.ips[1], publishers.ips[2],
                                publishers.port, near.ips[0], near.ips[1], near.ips[2], near.port, rest...));
        };
        if constexpr (TApp::kRow.sink.namesUser)
            return tcp ? make(TApp::kReceiverTCP, kUserID, 3, "proxy", kProxyPort, "user", "secret")
                       : make(TApp::kReceiverUDP, kUserID);
        else
            return tcp ? make(TApp::kReceiverTCP, 3, "proxy", kProxyPort, "user", "secret")
                       : make(TApp::kReceiverUDP, publishersOnly);
    }
    CMade PeerReceiver(bool tcp) override {
        if constexpr (requires { TApp::kReceiverP2PTCP; })
            if (tcp) return CMade(TApp::kReceiverP2PTCP(*m_pApp, asksFor, kPeerUser));
        return tcp ? CMade() : CMade(TApp::kReceiverP2P(*m_pApp, asksFor, kPeerUser));
    }

    bool IsSinkDisconnected(uint32_t sinkID) override {
        bool disconnected = true;
        TApp::Tables().sinks.With(sinkID, [&](auto& sink) { disconnected = sink.IsDisconnected(); });
        return disconnected;
    }
    std::vector<uint32_t> SinkIDs() override {
        std::vector<uint32_t> ids;
        for (auto& one : TApp::Tables().sinks.Each()) ids.push_back(one.Info().sinkID);
        return ids;
    }
    std::vector<uint32_t> ReceiverIDs() override {
        std::vector<uint32_t> ids;
        for (auto& one : TApp::Tables().receivers.Each()) {
            if constexpr (TApp::kRow.board)
                ids.push_back(static_cast<uint32_t>(one.GetWBSessionID()));
            else
                ids.push_back(one.ReceiverID());
        }
        return ids;
    }
    void EndAllSinks() override { TApp::Tables().EndAllSinks(); }

protected:
    void* Channel() override { return static_cast<typename TApp::TChannel*>(m_pApp.get()); }

private:
    std::unique_ptr<TApp> m_pApp;
};

template <class TApp>
std::unique_ptr<CMediumApp> MakeApp(uint32_t channelID) {
    return std::make_unique<CAppOf<TApp>>(channelID);
}

}  // namespace

constinit const CTestMedium kAudio{media::kAudio, MakeApp<CAudioApp>, 1, false, true, false, 4000};
constinit const CTestMedium kVideo{media::kVideo, MakeApp<CVideoApp>, 1, false, true, false, 4000};
constinit const CTestMedium kWhiteboard{media::kWhiteboard, MakeApp<CBoardApp>, 1, true, true, true, 4000};
constinit const CTestMedium kDesktop{media::kDesktop, MakeApp<CDesktopApp>, 2, true, true, true, 2000};
constinit const CTestMedium kFile{media::kFile, MakeApp<CFileApp>, 2, false, false, true, 2000};
