// The common base of the file receivers.
#pragma once

#include "file/local_mcu_file.h"
#include "link/limits.h"
#include "link/media.h"
#include "link/share_receiver.h"

class CFileReceiver
    : public CShareReceiverOf<IFileReceiver, IFileReceiverNotify, &IFileReceiverNotify::OnFileReceiverNotifyConnected,
                              &IFileReceiverNotify::OnFileReceiverNotifyData> {
public:
    using CShareReceiverOf::CShareReceiverOf;

    uint32_t GetFileChannelID() const { return ChannelID(); }
    uint32_t GetFileReceiverID() const { return ReceiverID(); }
    static constexpr const CMediumRow& kMedium = media::kFile;

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
    /// Frames of 2 bytes or more go to the application.
    void NotifyData(const char* data, int length) override {
        if (data && length >= limits::kMinFrameLen) CShareReceiverOf::NotifyData(data, length);
    }
};
