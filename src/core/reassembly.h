// Collects the pieces of one frame.
#pragma once

#include "core/session_constants.h"
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
    /// A frame longer than this is skipped to its end, and the next one collected as if nothing had been.
    void SkipOver(int length) { m_nSkipOver = length; }
    /// How much of a payload of this length is worth keeping: past one byte too many, its frame is skipped anyway.
    int MostUseful(int length) const { return length <= m_nSkipOver ? length : m_nSkipOver + 1; }

    char* Data() const { return m_pBuffer.get(); }
    int Length() const { return m_nLength; }

private:
    struct Free {
        void operator()(char* memory) const { std::free(memory); }
    };

    bool Skip(CSCTPPacket& packet, int length);
    bool Reserve(int length);
    void GiveUp();

    std::unique_ptr<char, Free> m_pBuffer;
    int m_nCapacity = 0;
    int m_nLength = 0;
    int m_nSkipOver = session::kMaxFrameLen;
    bool m_bSkipping = false;
};
