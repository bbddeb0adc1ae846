// `lumo publish audio`: an Ogg Opus stream at its own pace.
#pragma once

#include "tools/lumo/media/audio_links.h"
#include "tools/lumo/media/audio_publisher.h"
#include "tools/lumo/media/publish_medium.h"
#include "tools/lumo/media/stream_files.h"

#include <memory>
#include <string>

namespace lumo {

class CAudioPublishMedium final : public IPublishMedium {
public:
    const char* Name() const override { return "audio"; }
    const char* Help() const override { return "An Ogg Opus stream, at its own pace"; }
    void AddOptions(CLI::App& command) override;

    bool Prepare(std::string& problem) override { return m_input.Open(m_strFile, problem); }
    std::unique_ptr<CLink> Open(const RelayRoute& route, CInbox& inbox) override;
    uint64_t Turn(uint64_t now) override;
    int WaitFd() const override { return m_bHungry ? m_input.Fd() : -1; }
    bool Over() const override { return m_bOver; }
    void SayGoodbye() override;
    void Close() override { m_channel.reset(); }

    uint64_t Bytes() const override { return m_publisher.Bytes(); }
    nlohmann::json Details() override;
    std::string Problem() const override { return m_publisher.Problem(); }

private:
    void Send(const std::string& frame);
    /// False when nothing has come.
    bool Feed();

    std::string m_strFile;
    bool m_bLoop = false;
    CStreamInput m_input;
    AudioChannelPtr m_channel;
    CAudioPublisher m_publisher{[this](const std::string& frame) { Send(frame); }};
    uint64_t m_ullStartedMs = 0;
    bool m_bHungry = false;  // waits for bytes
    bool m_bOver = false;
};

}  // namespace lumo
