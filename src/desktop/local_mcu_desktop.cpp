#include "desktop/local_mcu_desktop.h"

#include "desktop/desktop_receiver.h"
#include "desktop/desktop_sink.h"

CLocalMCUDesktop::CLocalMCUDesktop() : CShareMcu(media::kDesktop, ShareSinkMakers<CDesktopSinkUDP, CDesktopSinkTCP>()) {
    Instances().pDesktop.store(this, std::memory_order_release);
}

CLocalMCUDesktop::~CLocalMCUDesktop() { Instances().pDesktop.store(nullptr, std::memory_order_release); }

void CLocalMCUDesktop::AddDesktopSink(uint32_t sinkID, CDesktopSink* sink) { PutSink(sinkID, sink); }

void CLocalMCUDesktop::ReleaseConnections() {
    RemoveAllDesktopSinks();
    Tables().channels.Sweep([](CShareChannel&) { return true; },
                            [](CShareChannel* channel) {
                                CDesktopChannel* owner = &static_cast<CDesktopChannelState*>(channel)->owner;
                                owner->ReleaseConnections();
                                delete owner;
                            });
}
