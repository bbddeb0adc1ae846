// The reliable datagram session: whole frames, in order, once, over datagrams that get lost, late and doubled.
#pragma once

#include "core/lock_ranks.h"
#include "core/reassembly.h"
#include "core/sctp_session_receiver.h"
#include "core/sctp_session_sender.h"
#include "core/session_constants.h"
#include "core/session_statistics.h"
#include "core/wide/wide_owner.h"
#include "platform/lumobase/data_buffer.h"

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>

/// Whom a session serves.
class ISessionOwner {
public:
    /// One whole frame. The buffer is the session's own and valid only during the call.
    virtual void OnSCTPSessionReceivedFrame(char* frame, int length) = 0;
    /// Puts one packet (header and payload) on the wire. The session::kEnvelopeRoom bytes before `packet` may be
    /// overwritten with the envelope. May be called with the window lock held: must not wait.
    virtual void SendSCTPData(char* packet, int length) = 0;
    /// The next frame of those that wait with the owner, or null: a wide session asks when it could send one more.
    /// Called with the window lock held.
    virtual CDataBuffer* NextWaitingFrame() { return nullptr; }

protected:
    ~ISessionOwner() = default;
};

/// Knows nothing of addresses and envelopes. Feed, open and close it from one thread at a time; everything else may be
/// called on any thread. Close it before it is destroyed. The owner outlives it.
class CSession : public CSCTPSessionSender,
                 public CSCTPSessionReceiver,
                 private wide::ISending,
                 private wide::IDelivering {
public:
    explicit CSession(ISessionOwner& owner);
    ~CSession() override;

    /// Starts numbering and collecting anew; false without memory.
    bool OpenSession();
    /// Deletes every packet.
    void CloseSession();
    /// Deletes the frames that are not wholly in the window. The far side never gets the rest of one that has begun.
    void DropFrames();
    /// Queues a copy of one frame; false for a null or empty one, one over 64 MiB, or without memory.
    bool SendFrame(char* frame, int length);
    /// The same without a copy: takes the buffer over, also when it answers false.
    bool SendBuffer(CDataBuffer* frame);
    /// An empty packet before the first frame: the far side acknowledges it and nothing more comes of it.
    void SendOpening();
    /// One send pass: admits one packet, sends at most four; of a wide session, sends what the path takes now. True
    /// when it sent something.
    bool ProcessSend();
    /// Nothing queued and nothing unacknowledged.
    bool IsSendIdle();
    /// Whether something waits to enter the window.
    bool HasUncut() const { return m_nUncut.load() != 0; }
    /// Number and bytes of the frames that are not wholly in the window yet.
    uint32_t GetPendingCount() const { return m_nUncut.load(std::memory_order_relaxed); }
    uint64_t GetPendingBytes() const { return m_nUncutBytes.load(std::memory_order_relaxed); }
    /// Whether a pass could admit a packet now (something waits and the window has room).
    bool CanAdmit();
    /// After an acknowledgement: whether another pass could send something, or the next frame can enter.
    bool WantsPass() { return IsWindowEmpty() || IsWideSending() || CanAdmit() || IsMoreDue(); }
    /// Whether this side's packets leave as those of a wide session.
    bool IsWideSending() const;
    /// When a wide session has something to do that nothing else brings about, in microseconds; 0: never.
    uint64_t DueAt() const;
    /// Does that: an acknowledgement that waited for company, a look at an old gap or at records that are not needed.
    /// The worker's and the receive thread's. True when RecordBytes may have changed.
    bool DoDue(uint64_t now);
    /// Bytes that a wide session keeps of what is on its way, beside the frames.
    uint64_t RecordBytes() const;
    /// When a pass has something to send or to find lost that no acknowledgement brings about; 0: never.
    uint64_t SendDueAt() const;
    /// One session packet without its envelope. Acknowledges data, and runs a send pass after an acknowledgement.
    void OnSCTPSessionReceivedData(char* packet, int length);
    /// The advertised window, clamped to 16..160.
    void SetWindowSize(unsigned char size);
    unsigned char GetWindowSize();
    void SetResendTime(unsigned long milliseconds);
    void SetMaxPacketDataLen(unsigned long length);
    /// What is received and not yet whole counts for this far side, which came by itself. Before the session is fed.
    void SetStranger(uint32_t ip) {
        m_ulStranger = ip;
        m_reassembly.SetStranger(ip);
        SetEarlyStranger(ip);
    }
    /// Received frames longer than this are skipped (64 MiB unless set). Before the session is fed.
    void SetMaxReceivedFrame(int length) { m_reassembly.SkipOver(length); }
    bool HasLostFrame() const { return m_reassembly.HasLostFrame(); }
    /// The far side has acknowledged what it cannot have.
    bool WasLiedTo() const { return m_bLiedTo.load(std::memory_order_relaxed); }

    SessionStatistics GetStatistics() const;

    /// The next packet to enter the window, or null. Cuts it from the oldest queued frame.
    CSCTPPacket* GetNextSendPacket() override LUMO_REQUIRES(m_csWindow);
    void SendPacket(CSCTPPacket* packet) override LUMO_REQUIRES(m_csWindow);
    void OnReceivedPacket(CSCTPPacket* packet) override;
    void SendAck(bool flag, unsigned short sequence) override;

private:
    std::unique_ptr<CDataBuffer> TakeFrame() override LUMO_REQUIRES(m_csWindow);
    void OnFrameCut(int length) override { CountDone(length); }
    void OnFrameDelivered(int length) override;
    void SendWide(char* packet, int length, bool again) override LUMO_REQUIRES(m_csWindow);
    void Deliver(CSCTPPacket& packet) override { OnReceivedPacket(&packet); }
    void TellNow() override;

    bool OpenWide();
    void OnData(CSCTPPacket& packet);
    bool ReceiveWide(CSCTPPacket& packet);
    void BeginWideReceiving(uint64_t now);
    void OnAckPacket(CSCTPPacket& packet);
    bool OnWideAck(CSCTPPacket& packet);
    bool BeginWideSending(uint64_t now) LUMO_REQUIRES(m_csWindow);
    void CountUndelivered(int length);
    bool SendWidePass();
    void NoteInFlight() LUMO_REQUIRES(m_csWindow);
    void CloseWide();
    CSCTPPacket* CutOpening() LUMO_REQUIRES(m_csWindow);
    bool StartCutting() LUMO_REQUIRES(m_csWindow);
    void FinishCutting() LUMO_REQUIRES(m_csWindow);
    void CountDone(int length);

    ISessionOwner& m_owner;
    CCritSec m_csPending{kRankSessionPending};
    std::list<std::unique_ptr<CDataBuffer>> m_pending LUMO_GUARDED_BY(m_csPending);  // whole frames
    std::unique_ptr<CDataBuffer> m_pCutting LUMO_GUARDED_BY(m_csWindow);             // partly in the window
    int m_nCut LUMO_GUARDED_BY(m_csWindow) = 0;
    bool m_bOpening LUMO_GUARDED_BY(m_csWindow) = false;  // the empty packet waits
    std::atomic<uint32_t> m_nUncut{0};                    // frames pending or being cut
    std::atomic<uint64_t> m_nUncutBytes{0};               // theirs

    std::unique_ptr<wide::CWideSession> m_pWide;  // where the process wants wide sessions
    std::atomic<uint32_t> m_nUndelivered{0};      // frames of the wide session that the far side does not have
    std::atomic<uint64_t> m_nUndeliveredBytes{0};
    std::atomic<bool> m_bLiedTo{false};
    uint32_t m_ulStranger = 0;

    std::atomic<uint32_t> m_ulResendTime{session::kFirstResendTimeout};
    std::atomic<int> m_nPayloadLen{static_cast<int>(session::kPayloadLen)};
    std::atomic<uint8_t> m_byWindowSize{session::kMaxWindow};

    // The receive thread's.
    CReassembly m_reassembly;
    char m_ackBytes[session::kEnvelopeRoom + session::kHeaderLen] = {};
    CSCTPPacket m_ack;  // wraps the bytes above
    session::CCounter m_nPacketsReceived;
    session::CCounter m_nBytesReceived;
    session::CCounter m_nFramesReceived;
    std::atomic<uint64_t> m_nAcksSent{0};

    session::CCounter m_nFramesSent;  // written under the pending lock
};
