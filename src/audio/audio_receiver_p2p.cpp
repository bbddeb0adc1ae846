#include "audio/audio_receiver_p2p.h"

CAudioReceiverP2P::CAudioReceiverP2P(IAudioReceiverNotify& notify, uint32_t channelID, uint32_t userID)
    : CAudioReceiverDatagrams(notify, channelID, userID, m_subscription),
      m_subscription(kProfile, CAudioReceiver::GetAudioReceiverID()) {
    m_subscription.SetAsking(ArePeersAsked());
}

bool CAudioReceiverP2P::Connect() {
    m_subscription.SetUser(m_ulUserID);
    m_subscription.Touch();
    Register();
    m_subscription.Start();
    return true;
}
