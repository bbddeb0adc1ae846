// Bytes of the signalling channel into a command packet, and back.
#include "lumomedia/base.h"
#include "support/reach.h"

#include <cstdint>
#include <cstdlib>

namespace {

CReach& Reach() {
    static CReach reach("command_packet", {"parsed", "refused", "text", "number"});
    return reach;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    CCmdPacket packet;
    if (!CCmdPacket::Parse(bytes, packet)) {
        Reach().Hit("refused");
        return 0;
    }
    Reach().Hit("parsed");
    if (!packet.GetAttrib("p2ptype").empty()) Reach().Hit("text");
    if (packet.GetAttribUL("natip") != 0 && packet.GetAttribUS("natudpport") != 0) Reach().Hit("number");
    CCmdPacket again;
    if (!CCmdPacket::Parse(packet.Serialize(), again) || again.Serialize() != packet.Serialize()) std::abort();
    return 0;
}
