// `lumo subscribe video`: takes a channel's frames and writes an H.264 byte stream that decodes.
#pragma once

#include "tools/lumo/media/output_subscribe_medium.h"
#include "tools/lumo/media/stream_files.h"
#include "tools/lumo/media/video_links.h"
#include "tools/lumo/media/video_recorder.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumo {

class CVideoSubscribeMedium final : public COutputSubscribeMedium {
public:
    CVideoSubscribeMedium();

    bool Prepare(std::string& problem) override;
    bool OnFrame(const char* data, size_t length) override;
    void Tick() override;
    bool Over() const override { return m_recorder->Ended() || m_recorder->Error() != 0; }
    void Finish() override {}

    bool Heard() const override { return m_recorder->Report().frames > 0; }
    uint64_t Bytes() const override { return m_recorder->Report().bytes; }
    nlohmann::json Details() const override;
    std::string Quality() const override;
    std::string Summary(double seconds) const override;
    std::string Problem() const override;

private:
    std::unique_ptr<CLink> MakeLink(bool peer, bool tcp, const RelayRoute& route, CInbox& inbox,
                                    const LinkTimes& times) override;

    CStreamOutput m_file;
    std::optional<CVideoRecorder> m_recorder;
    std::vector<CVideoSubscribeLink*> m_links;  // those of the path switch
};

}  // namespace lumo
