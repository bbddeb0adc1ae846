// The common base of the file receivers.
#pragma once

#include "file/file_profile.h"
#include "file/local_mcu_file.h"
#include "link/callback.h"
#include "link/limits.h"
#include "link/share_receiver.h"

class CFileReceiver : public CShareReceiver, public IFileReceiver {
public:
    CFileReceiver(IFileReceiverNotify& notify, CShareChannel& channel) : CShareReceiver(channel), m_pNotify(&notify) {}

    uint32_t GetFileChannelID() const { return ChannelID(); }
    uint32_t GetFileReceiverID() const { return ReceiverID(); }
    static const CShareProfile& Profile() { return file::kProfile; }

protected:
    static constexpr bool kDetachesFirst = false;  // the server hears of the end first
    /// One frame at a time is under way.
    template <class TLink>
    static void SendUpstream(TLink& link, const void* data, int length) {
        link.QueueFrame(data, length);
    }
    static void LeaveMcu(uint32_t receiverID) {
        if (CLocalMCUFile* mcu = GetLocalMCUFile()) mcu->RemoveFileReceiver(receiverID);
    }
    bool NotifyConnected(uint32_t ip) override {
        return CallApplication([&] { m_pNotify->OnFileReceiverNotifyConnected(ip); });
    }
    /// Frames of 2 bytes or more go to the application.
    void NotifyData(const char* data, int length) override {
        if (data && length >= limits::kMinFrameLen)
            CallApplication([&] { m_pNotify->OnFileReceiverNotifyData(data, length); });
    }

    IFileReceiverNotify* const m_pNotify;  // the application's; outlives the receiver
};
