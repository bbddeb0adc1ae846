// Applications are built against the order in which the public classes declare what they can do.
#include "lumomedia/lumomedia.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <initializer_list>

#if defined(__x86_64__)
namespace {

// Where an operation stands in the table.
struct CSlot {
    template <class Member>
    CSlot(Member member) {  // NOLINT(google-explicit-constructor)
        uintptr_t raw = 0;
        static_assert(sizeof(member) >= sizeof(raw));
        std::memcpy(&raw, &member, sizeof(raw));
        number = (raw - 1) / sizeof(void*);
    }
    size_t number;
};

constexpr size_t kBehindDestructor = 2;

void ExpectOrder(std::initializer_list<CSlot> slots, size_t first = 0) {
    for (const CSlot& slot : slots) EXPECT_EQ(slot.number, first++);
}

TEST(InterfaceSlots, OfTheInterfacesThatTheLibraryGives) {
    ExpectOrder({&ILocalMcuMgr::ReleaseConnections, &ILocalMcuMgr::GetLocalPort});
    ExpectOrder({&IP2P::StartP2PCaller, &IP2P::OnReceivedP2PCmd, &IP2P::ReleaseConnections, &IP2P::SetSunServer,
                 &IP2P::Reserved});
    ExpectOrder({&IAudioSender::ReleaseConnections, &IAudioSender::SetEnable, &IAudioSender::IsEnable,
                 &IAudioSender::IsDisconnected, &IAudioSender::GetStartParam, &IAudioSender::GetSentFrameCount,
                 &IAudioSender::GetBufferingFrameCount});
    ExpectOrder({&IAudioReceiver::ReleaseConnections, &IAudioReceiver::SetEnable, &IAudioReceiver::IsEnable,
                 &IAudioReceiver::IsDisconnected});
    ExpectOrder({&IVideoSender::ReleaseConnections, &IVideoSender::SetEnable, &IVideoSender::IsEnable,
                 &IVideoSender::IsDisconnected, &IVideoSender::GetStartParam});
    ExpectOrder({&IVideoReceiver::ReleaseConnections, &IVideoReceiver::SetEnable, &IVideoReceiver::IsEnable,
                 &IVideoReceiver::IsDisconnected, &IVideoReceiver::RequestKeyFrame, &IVideoReceiver::AdjustWindowSize});
    ExpectOrder({&IFileSender::ReleaseConnections, &IFileSender::IsDisconnected});
    ExpectOrder({&IFileReceiver::ReleaseConnections, &IFileReceiver::IsDisconnected});
    ExpectOrder({&IDesktopSender::ReleaseConnections, &IDesktopSender::IsDisconnected});
    ExpectOrder({&IDesktopReceiver::ReleaseConnections, &IDesktopReceiver::IsDisconnected});
    ExpectOrder({&IWBSessionClient::ReleaseConnections, &IWBSessionClient::IsDisconnected});
}

TEST(InterfaceSlots, OfTheInterfacesThatTheApplicationImplements) {
    ExpectOrder({&IP2PNotify::OnP2PNotifySendCmd, &IP2PNotify::OnP2PNotifyGetP2PItem, &IP2PNotify::OnP2PNotifyGetUserID,
                 &IP2PNotify::OnP2PNotifyNATAddress});
    ExpectOrder({&ISignalNotify::OnSignalNotifyConnected, &ISignalNotify::OnSignalNotifyCmd});
    ExpectOrder({&IAudioSenderNotify::OnConnected});
    ExpectOrder({&IAudioReceiverNotify::OnAudioData, &IAudioReceiverNotify::OnConnected});
    ExpectOrder({&IVideoSenderNotify::OnConnected, &IVideoSenderNotify::OnKeyFrameRequest});
    ExpectOrder({&IVideoReceiverNotify::OnVideoData, &IVideoReceiverNotify::OnConnected});
    ExpectOrder({&IFileSenderNotify::OnFileSenderNotifyConnected});
    ExpectOrder({&IFileReceiverNotify::OnFileReceiverNotifyData, &IFileReceiverNotify::OnFileReceiverNotifyConnected});
    ExpectOrder({&IDesktopSenderNotify::OnDesktopSenderNotifyConnected});
    ExpectOrder({&IDesktopReceiverNotify::OnDesktopReceiverNotifyData,
                 &IDesktopReceiverNotify::OnDesktopReceiverNotifyConnected});
    ExpectOrder({&IWBSessionClientNotify::OnWBSessionClientNotifyConnected});
}

// Their destructors come first.
TEST(InterfaceSlots, OfTheClassesThatTheApplicationMakesOrDerivesFrom) {
    ExpectOrder({&CAudioChannel::ReleaseConnections, &CAudioChannel::IsEmpty, &CAudioChannel::AddAudioSink,
                 &CAudioChannel::RemoveAudioSink, &CAudioChannel::HasStartedAudioSink,
                 &CAudioChannel::OnAudioChannelData, &CAudioChannel::GetAudioChannelID,
                 &CAudioChannel::GetAudioSinkCount, &CAudioChannel::IsDirty, &CAudioChannel::GetBufferingFrameCount},
                kBehindDestructor);
    ExpectOrder({&CVideoChannel::ReleaseConnections, &CVideoChannel::IsEmpty}, kBehindDestructor);
    ExpectOrder({&CFileChannel::Connect, &CFileChannel::ReleaseConnections, &CFileChannel::IsEmpty,
                 &CFileChannel::AddFileSink, &CFileChannel::RemoveFileSink, &CFileChannel::OnFileChannelData,
                 &CFileChannel::GetFileChannelID, &CFileChannel::GetFileSinkCount, &CFileChannel::IsDirty,
                 &CFileChannel::GetBufferingFrameCount, &CFileChannel::OnFileSinkData,
                 &CFileChannel::AttachFileReceiver, &CFileChannel::DetachFileReceiver, &CFileChannel::HasFileReceiver},
                kBehindDestructor);
    ExpectOrder(
        {&CDesktopChannel::Connect, &CDesktopChannel::ReleaseConnections, &CDesktopChannel::IsEmpty,
         &CDesktopChannel::AddDesktopSink, &CDesktopChannel::RemoveDesktopSink, &CDesktopChannel::OnDesktopChannelData,
         &CDesktopChannel::GetDesktopChannelID, &CDesktopChannel::GetDesktopSinkCount, &CDesktopChannel::IsDirty,
         &CDesktopChannel::GetBufferingFrameCount, &CDesktopChannel::OnDesktopSinkData,
         &CDesktopChannel::AttachDesktopReceiver, &CDesktopChannel::DetachDesktopReceiver,
         &CDesktopChannel::HasDesktopReceiver},
        kBehindDestructor);
    ExpectOrder(
        {&CWBChannel::ProcessWBData, &CWBChannel::SendWBData, &CWBChannel::Connect, &CWBChannel::ReleaseConnections,
         &CWBChannel::GetWBSessionCount, &CWBChannel::IsDirty, &CWBChannel::IsEmpty, &CWBChannel::OnWBChannelData,
         &CWBChannel::AddWBSession, &CWBChannel::RemoveWBSession},
        kBehindDestructor);
    ExpectOrder({&CWBSession::JoinWBChannel, &CWBSession::LeaveWBChannel, &CWBSession::GetWBChannelID,
                 &CWBSession::GetWBSessionID, &CWBSession::OnWBSessionData, &CWBSession::SendWBSessionData,
                 &CWBSession::IsDisconnected},
                kBehindDestructor);
}

}  // namespace
#endif
