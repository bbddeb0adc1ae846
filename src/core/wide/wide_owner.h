// What the two halves of a wide session need of the session around them.
#pragma once

#include "lumomedia/packet.h"
#include "platform/lumobase/data_buffer.h"

#include <memory>

namespace wide {

class CWideSession;

/// What the sender needs of its session.
class ISending {
public:
    /// The next whole frame to send, or null.
    virtual std::unique_ptr<CDataBuffer> TakeFrame() = 0;
    /// Every packet of the frame is in flight.
    virtual void OnFrameCut(int length) = 0;
    /// The far side has all of a frame.
    virtual void OnFrameDelivered(int length) = 0;
    /// Puts one packet on the wire. There is room for an envelope before it.
    virtual void SendWide(char* packet, int length, bool again) = 0;

protected:
    ~ISending() = default;
};

/// What a receiver does with what is in order.
class IDelivering {
public:
    virtual void Deliver(CSCTPPacket& packet) = 0;
    /// Sends what the acknowledgement state has to tell.
    virtual void TellNow() = 0;

protected:
    ~IDelivering() = default;
};

}  // namespace wide
