#include "audio/audio_receiver_tcp.h"

#include "audio/audio_constants.h"

namespace {
constexpr CTcpSubscriptionProfile kProfile{wire::Kind::Audio, wire::TcpType::AudioReceiver, audio::kStart, audio::kStop,
                                           true};
}

CAudioReceiverTCP::CAudioReceiverTCP(IAudioReceiverNotify& notify, uint32_t channelID, uint32_t userID)
    : CStreamReceiverTCP(notify, channelID, userID, kProfile) {}
