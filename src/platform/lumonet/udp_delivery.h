// Hands received datagrams to the notify object, by the release rule.
#pragma once

#include "platform/lumonet/lumonet.h"
#include "platform/lumonet/release_gate.h"

/// What the kernel has handed over as one: datagrams of one sender, all of one size, the last perhaps shorter.
struct CReceivedRun {
    const char* data;
    size_t length;
    size_t segment;  ///< at least 1 unless length is 0
    uint32_t ip;
    uint16_t port;
    uint32_t askedIP;  ///< our address that the datagrams were sent to; 0 unless that was asked for
};

/// A burst is Begin, Run as often as it says true, and End, all on the receive thread.
class CUdpDelivery {
public:
    explicit CUdpDelivery(IUdpClientNotify* notify) : m_pNotify(notify) {}

    /// False once released: then neither Run nor End.
    bool Begin();
    /// False once released: the rest of the burst is dropped. Empty datagrams are left out.
    bool Run(const CReceivedRun& run);
    /// For how many microseconds the thread may rest.
    unsigned End();

    /// Any thread; see CReleaseGate::Release. True when called from inside a callback.
    bool Release();

private:
    IUdpClientNotify* const m_pNotify;
    CReleaseGate m_gate;
    bool m_bReleasedInside = false;  // the receive thread's
    uint64_t m_nDatagrams = 0;       // of this burst
    uint64_t m_nBytes = 0;           // of this burst
};
