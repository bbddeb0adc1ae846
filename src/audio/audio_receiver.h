// The common base of the audio receivers.
#pragma once

#include "link/object_id.h"
#include "lumomedia/audio.h"

#include <cstdint>

class CFrameLink;

/// The datagrams that an MCU sends to a receiver. UDP thread, under the receiver table lock.
class IAudioDatagramReceiver {
public:
    virtual void OnReceivedStartACK(uint32_t sinkID, uint32_t ip, uint16_t port) = 0;
    virtual void OnReceivedStopACK(uint32_t sinkID, uint32_t ip, uint16_t port) = 0;
    virtual void OnReceivedConnectACK(uint32_t sinkID, uint32_t ip, uint16_t port) = 0;
    virtual void OnReceivedFrame(uint32_t sinkID, const char* data, int length, uint32_t ip, uint16_t port) = 0;

protected:
    ~IAudioDatagramReceiver() = default;
};

class CAudioReceiver : public IAudioReceiver {
public:
    CAudioReceiver(IAudioReceiverNotify& notify, uint32_t channelID, uint32_t userID)
        : m_pNotify(&notify), m_ulAudioChannelID(channelID), m_ulUserID(userID) {}
    CAudioReceiver(const CAudioReceiver&) = delete;
    CAudioReceiver& operator=(const CAudioReceiver&) = delete;

    virtual ~CAudioReceiver() = default;
    virtual uint32_t GetAudioChannelID() { return m_ulAudioChannelID; }
    virtual uint32_t GetAudioReceiverID() { return m_id.Get(); }
    virtual uint32_t GetAudioSinkID() = 0;

    /// This object as one that datagrams reach, or null.
    virtual IAudioDatagramReceiver* AsDatagramReceiver() { return nullptr; }

protected:
    void NotifyConnected(uint32_t ip);
    void NotifyData(const char* data, int length);

    IAudioReceiverNotify* const m_pNotify;  // the application's; outlives the receiver
    const uint32_t m_ulAudioChannelID;
    const uint32_t m_ulUserID;

private:
    CObjectID m_id;
};
