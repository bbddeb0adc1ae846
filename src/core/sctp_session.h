// The reliable datagram session as a base class.
#pragma once

#include "core/session.h"

/// Its own owner: whoever derives from it gets the frames and sends the packets. It is no SCTP (docs/terms.md).
class CSCTPSession : public CSession, public ISessionOwner {
public:
    CSCTPSession() : CSession(static_cast<ISessionOwner&>(*this)) {}

    void OnSCTPSessionReceivedFrame(char* frame, int length) override = 0;
    void SendSCTPData(char* packet, int length) override = 0;
};
