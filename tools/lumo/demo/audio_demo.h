// The demo's spoken sample.
#pragma once

#include "tools/lumo/demo/stream_demo.h"

#include <string>
#include <vector>

namespace lumo {

class CAudioDemo : public IDemoStream {
public:
    const char* Medium() const override { return "audio"; }
    Words Publish(const std::string& folder) override;
    const char* OutName() const override { return "heard.opus"; }
    void Judge(const nlohmann::json& end, StreamRow& row) override;
};

/// Packets of `heard` that differ from `source`, which goes round and is joined anywhere; all when nothing fits.
size_t PacketsThatDiffer(const std::vector<std::string>& source, const std::vector<std::string>& heard);

}  // namespace lumo
