// The demo's shared screen.
#pragma once

#include "tools/lumo/demo/stream_demo.h"

#include <string>
#include <vector>

namespace lumo {

class CDesktopDemo : public IDemoStream {
public:
    const char* Medium() const override { return "desktop"; }
    Words Publish(const std::string& folder) override;
    const char* OutName() const override { return "seen"; }
    void Judge(const nlohmann::json& end, StreamRow& row) override;

private:
    std::vector<std::string> m_pictures;  // as published
};

struct PictureCount {
    size_t foreign = 0;  ///< differ from all that was published
    size_t skipped = 0;  ///< were left out between two that were seen
};

/// Of `seen`, where `published` goes round and may be joined anywhere.
PictureCount CountPictures(const std::vector<std::string>& published, const std::vector<std::string>& seen);

}  // namespace lumo
