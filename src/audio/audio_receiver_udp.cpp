#include "audio/audio_receiver_udp.h"

CAudioReceiverUDP::CAudioReceiverUDP(IAudioReceiverNotify& notify, uint32_t channelID, uint32_t userID)
    : CAudioReceiverDatagrams(notify, channelID, userID, m_subscription),
      m_subscription(kProfile, CAudioReceiver::GetAudioReceiverID()) {}

bool CAudioReceiverUDP::Connect(const CMcuAddress& peer, const CMcuAddress& local) {
    m_subscription.SetMcus(peer, local, false);
    m_subscription.SetUser(m_ulUserID);
    m_subscription.Touch();
    Register();
    SendConnect();
    return true;
}
