// Collects the pieces of one frame.
#pragma once

#include "lumomedia/packet.h"

#include <cstdlib>
#include <memory>

/// The buffer is used from frame to frame and grows; it is never filled beforehand, so that an idle one costs no
/// memory. Not synchronised.
class CReassembly {
public:
    /// Starts anew with a fresh buffer; false without memory.
    bool Open();
    /// Adds the payload of the next packet in order. True when it ends a frame, which stays until Reset(). Past
    /// session::kMaxFrameLen, or without memory, everything is ignored until the next Open().
    bool Append(CSCTPPacket& packet);
    void Reset() { m_nLength = 0; }

    char* Data() const { return m_pBuffer.get(); }
    int Length() const { return m_nLength; }

private:
    struct Free {
        void operator()(char* memory) const { std::free(memory); }
    };

    bool Reserve(int length);
    void GiveUp();

    std::unique_ptr<char, Free> m_pBuffer;
    int m_nCapacity = 0;
    int m_nLength = 0;
};
