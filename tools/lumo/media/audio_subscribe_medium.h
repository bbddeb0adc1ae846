// `lumo subscribe audio`: hears a channel, measures it, and writes an Ogg Opus file.
#pragma once

#include "tools/lumo/media/audio_recorder.h"
#include "tools/lumo/media/output_subscribe_medium.h"
#include "tools/lumo/media/stream_files.h"

#include <memory>
#include <optional>
#include <string>

namespace lumo {

class CAudioSubscribeMedium final : public COutputSubscribeMedium {
public:
    CAudioSubscribeMedium();

    bool Prepare(std::string& problem) override;
    bool OnFrame(const char* data, size_t length) override;
    void Tick() override;
    bool Over() const override { return m_recorder->Ended() || !Written(); }
    void Finish() override { m_recorder->Finish(); }

    bool Heard() const override { return m_recorder->Report().packets > 0 && !IsHeadless(); }
    uint64_t Bytes() const override { return m_recorder->Report().bytes; }
    nlohmann::json Details() const override;
    std::string Quality() const override;
    std::string Summary(double seconds) const override;
    std::string Problem() const override;

private:
    std::unique_ptr<CLink> MakeLink(bool peer, bool tcp, const RelayRoute& route, CInbox& inbox,
                                    const LinkTimes& times) override;
    bool IsHeadless() const { return m_writer && !m_writer->Begun(); }
    bool Written() const { return !m_writer || m_writer->Good(); }

    CStreamOutput m_file;
    std::unique_ptr<COggOpusWriter> m_writer;  // null: nothing is written
    std::optional<CAudioRecorder> m_recorder;
};

}  // namespace lumo
