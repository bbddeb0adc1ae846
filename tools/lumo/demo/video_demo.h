// The demo's moving sample.
#pragma once

#include "tools/lumo/demo/stream_demo.h"
#include "tools/lumo/media/video_check.h"

#include <optional>
#include <string>

namespace lumo {

class CVideoDemo : public IDemoStream {
public:
    const char* Medium() const override { return "video"; }
    Words Publish(const std::string& folder) override;
    const char* OutName() const override { return "seen.h264"; }
    void Judge(const nlohmann::json& end, StreamRow& row) override;

private:
    std::optional<CVideoCheck> m_check;  // of the file that is published
};

}  // namespace lumo
