// The media of `lumo load`.
#include "tools/lumo/load/load_medium.h"
#include "tools/lumo/media/audio_frame.h"
#include "tools/lumo/media/audio_links.h"

#include <utility>

namespace lumo {
namespace {

class CAudioLoadPublisher final : public ILoadPublisher {
public:
    CAudioLoadPublisher(const RelayRoute& route, CInbox& inbox)
        : m_channel(new CAudioChannel(route.channel)), m_link(route, inbox) {}
    void Send(const std::string& frame) override {
        m_channel->OnAudioChannelData(frame.data(), static_cast<int>(frame.size()));
    }
    CLink& Link() override { return m_link; }

private:
    StreamChannelPtr<CAudioChannel> m_channel;  // ends after its link
    CAudioPublishLink m_link;
};

/// Frames are taken where they come, so that no queue counts as delay.
class CAudioLoadLink final : public CStreamSubscribeLink<AudioLibrary> {
public:
    CAudioLoadLink(const RelayRoute& route, CInbox& inbox, LoadSink sink)
        : CStreamSubscribeLink(false, route, inbox, PublishTimes()), m_sink(std::move(sink)) {}
    ~CAudioLoadLink() override { Close(); }

private:
    void OnAudioData(const char* data, int length) override { m_sink(data, length); }

    const LoadSink m_sink;
};

template <class Made, class Base, class... Arguments>
std::unique_ptr<Base> Make(const RelayRoute& route, CInbox& inbox, Arguments... arguments) {
    return std::make_unique<Made>(route, inbox, std::move(arguments)...);
}

}  // namespace

const std::vector<LoadMedium>& LoadMedia() {
    static const std::vector<LoadMedium> media = {
        {"audio", "Small frames that nobody repeats", 160, kMaxAudioFrame, 50,
         &Make<CAudioLoadPublisher, ILoadPublisher>, &Make<CAudioLoadLink, CLink, LoadSink>},
    };
    return media;
}

}  // namespace lumo
