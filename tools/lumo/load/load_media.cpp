// The media of `lumo load`.
#include "tools/lumo/load/board_load.h"
#include "tools/lumo/load/desktop_load.h"
#include "tools/lumo/load/load_link.h"
#include "tools/lumo/load/load_medium.h"
#include "tools/lumo/media/audio_frame.h"
#include "tools/lumo/media/audio_links.h"
#include "tools/lumo/media/desktop_frame.h"
#include "tools/lumo/media/video_frame.h"
#include "tools/lumo/media/video_links.h"

#include <atomic>
#include <utility>

namespace lumo {
namespace {

constexpr uint32_t kMostRecord = 64U << 10;

class CAudioLoadPublisher final : public ILoadPublisher {
public:
    CAudioLoadPublisher(const RelayRoute& route, CInbox& inbox)
        : m_channel(new CAudioChannel(route.channel)), m_link(route, inbox) {}
    void Send(std::string& frame, bool) override {
        m_channel->OnAudioChannelData(frame.data(), static_cast<int>(frame.size()));
    }
    CLink& Link() override { return m_link; }

private:
    StreamChannelPtr<CAudioChannel> m_channel;  // ends after its link
    CAudioPublishLink m_link;
};

class CVideoLoadPublisher final : public ILoadPublisher {
public:
    CVideoLoadPublisher(const RelayRoute& route, CInbox& inbox)
        : m_channel(new CVideoChannel(route.channel)), m_link(route, inbox, m_bKeyWanted) {}
    void Send(std::string& frame, bool key) override {
        frame[0] = key ? 1 : 0;
        m_channel->OnVideoChannelData(frame.data(), static_cast<int>(frame.size()));
    }
    CLink& Link() override { return m_link; }

private:
    std::atomic<bool> m_bKeyWanted{false};  // nobody decodes: those that come anyway are enough
    StreamChannelPtr<CVideoChannel> m_channel;
    CVideoPublishLink m_link;
};

class CAudioLoadLink final : public CLoadLink<AudioLibrary> {
public:
    using CLoadLink::CLoadLink;
    ~CAudioLoadLink() override { Close(); }

private:
    void OnAudioData(const char* data, int length) override { m_sink(data, length); }
};

class CVideoLoadLink final : public CLoadLink<VideoLibrary> {
public:
    using CLoadLink::CLoadLink;
    ~CVideoLoadLink() override { Close(); }

private:
    void OnVideoData(const char* data, int length) override { m_sink(data, length); }
};

template <class Made, class Base, class... Arguments>
std::unique_ptr<Base> Make(const RelayRoute& route, CInbox& inbox, Arguments... arguments) {
    return std::make_unique<Made>(route, inbox, std::move(arguments)...);
}

}  // namespace

const std::vector<LoadMedium>& LoadMedia() {
    static const std::vector<LoadMedium> media = {
        {"audio", "Small frames that nobody repeats", 160, kMaxAudioFrame, 50, 0, 0, 0,
         &Make<CAudioLoadPublisher, ILoadPublisher>, &Make<CAudioLoadLink, CLink, LoadSink>, true},
        {"video", "Frames that arrive whole, unless they give way to a key frame", 4096, kMaxVideoFrame, 30,
         kVideoHeadLength, 30, 40960, &Make<CVideoLoadPublisher, ILoadPublisher>,
         &Make<CVideoLoadLink, CLink, LoadSink>},
        {"desktop", "Pictures that come whole, however late", 20000, kMaxDesktopFrame, 10, 0, 0, 0,
         &Make<CDesktopLoadPublisher, ILoadPublisher>, &Make<CDesktopLoadLink, CLink, LoadSink>},
        {"whiteboard", "One draws objects that all others ask for; late by 5 s is lost", 400, kMostRecord, 10, 0, 0, 0,
         &Make<CBoardLoadPublisher, ILoadPublisher>, &Make<CBoardLoadLink, CLink, LoadSink>},
    };
    return media;
}

}  // namespace lumo
