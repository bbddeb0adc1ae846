// `lumo publish audio`: an Ogg Opus stream at its own pace.
#pragma once

#include "tools/lumo/media/audio_links.h"
#include "tools/lumo/media/audio_publisher.h"
#include "tools/lumo/media/file_publish_medium.h"

#include <memory>
#include <string>

namespace lumo {

class CAudioPublishMedium final : public CFilePublishMedium<CAudioPublisher> {
public:
    CAudioPublishMedium();

    const char* Name() const override { return "audio"; }
    const char* Help() const override { return "An Ogg Opus stream, at its own pace"; }
    void AddOptions(CCommand& command) override {
        AddFileTo(command, "An Ogg Opus file with packets of 1,013 bytes at most, with --plain 1,046");
        command.Example("lumo publish audio talk.opus --mcu relay.example", "A recording, at its own pace");
        command.Example("ffmpeg -f pulse -i default -f opus - | lumo publish audio -",
                        "A microphone; LUMO_MCU names the server");
    }

    /// Looks whether a file begins as one should.
    bool Prepare(std::string& problem) override;
    std::unique_ptr<CLink> Open(const RelayRoute& route, CInbox& inbox) override;
    void SayGoodbye() override;
    void Close() override;
    nlohmann::json Details() override;
    std::string Audience() override;
    std::string Summary() override { return std::to_string(Source().Packets()) + " packets"; }

private:
    void SendReady(uint64_t now) override;
    void Write(const std::string& frame);

    StreamChannelPtr<CAudioChannel> m_channel;
    CAudioPublishLink* m_pLink = nullptr;  // until the channel is closed
};

}  // namespace lumo
