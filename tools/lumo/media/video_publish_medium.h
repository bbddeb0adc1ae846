// `lumo publish video`: an H.264 byte stream, an access unit a frame.
#pragma once

#include "tools/lumo/media/file_publish_medium.h"
#include "tools/lumo/media/video_links.h"
#include "tools/lumo/media/video_publisher.h"

#include <atomic>
#include <memory>
#include <string>

namespace lumo {

class CVideoPublishMedium final : public CFilePublishMedium<CVideoPublisher> {
public:
    CVideoPublishMedium();

    const char* Name() const override { return "video"; }
    const char* Help() const override { return "An H.264 byte stream (Annex B), an access unit a frame"; }
    void AddOptions(CCommand& command) override;

    bool Prepare(std::string& problem) override;
    std::unique_ptr<CLink> Open(const RelayRoute& route, CInbox& inbox) override;
    uint64_t Turn(uint64_t now) override;
    void SayGoodbye() override;
    void Close() override;
    nlohmann::json Details() override;
    std::string Audience() override;
    std::string Summary() override;

private:
    void SendReady(uint64_t now) override { Source().Send(now); }
    void Write(std::string& frame);

    double m_dFps = 25;
    StreamChannelPtr<CVideoChannel> m_channel;
    CVideoPublishLink* m_pLink = nullptr;  // until the channel is closed
    std::atomic<bool> m_bKeyWanted{false};
};

}  // namespace lumo
