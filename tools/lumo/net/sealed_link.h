// An engine's way out whose frames are sealed where there is a secret.
#pragma once

#include "tools/lumo/seal/stream_seal.h"
#include "tools/lumo/transfer/link_out.h"

namespace lumo {

/// Seals and queues in one step. A frame that cannot be sealed is lost, as any may be on its way. One thread.
class CSealedLink final : public ILinkOut {
public:
    CSealedLink(ILinkOut& link, const CSealSecret& secret, const LumoSealStream& stream, unsigned long start = 0)
        : m_link(link), m_sealer(secret, stream, start) {}

    bool Ready() const override { return m_link.Ready(); }
    uint32_t Queued() const override { return m_link.Queued(); }
    using ILinkOut::Send;
    void Send(const char* data, int length) override {
        if (m_sealer.Seal(data, length)) m_link.Send(data, length);
    }
    void SendInPlace(char* data, int length) override {
        if (m_sealer.SealInPlace(data, length)) m_link.Send(data, length);
    }

private:
    ILinkOut& m_link;
    CStreamSealer m_sealer;
};

}  // namespace lumo
