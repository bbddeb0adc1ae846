// A subscription to the file channel.
#pragma once

#include "bench/transports/lumo_links.h"

#include <utility>

namespace bench {

class CLumoReceiver : public CLumoLink<IFileReceiver>, private IFileReceiverNotify {
public:
    explicit CLumoReceiver(FrameHandler onFrame) : m_onFrame(std::move(onFrame)) {}
    ~CLumoReceiver() override { Release(); }

    /// At the publisher's own local MCU, by the way that this process's node finds.
    void ConnectToPublisher(CLumoHost& host, uint16_t port) {
        host.AnnouncePublisher(port);
        Hold(CreateFileReceiverP2P(*this, kChannelID, CLumoHost::kUser));
    }
    void ConnectToServer(uint16_t port) {
        Hold(CreateFileReceiverUDP(*this, kChannelID, RunHosts().far, 0, 0, port, 0, 0, 0, 0, true));
    }

private:
    void OnFileReceiverNotifyData(const char* data, int length) override { m_onFrame(data, length); }
    void OnFileReceiverNotifyConnected(unsigned long) override { OnTaken(); }

    const FrameHandler m_onFrame;
};

}  // namespace bench
