// The inside of a sealer.
#pragma once

#include "platform/lumobase/forks.h"
#include "platform/lumobase/leaf_lock.h"
#include "seal/key_maker.h"
#include "seal/make_state.h"
#include "seal/stream_rules.h"

#include <array>

struct CSealerState {
    // What one key ID is used for at most: far within what the cipher bears.
    static constexpr uint64_t kFramesOfKey = uint64_t{1} << 32;
    static constexpr uint64_t kBytesOfKey = uint64_t{1} << 36;
    // Openers refuse a start that is a day old, so whoever comes later must see a younger one.
    static constexpr uint64_t kMinutesOfKey = uint64_t{12} * 60;

    CSealerState(const CSealSecret& secret, const LumoSealStream& stream, SealSuite suite, uint64_t start)
        : m_medium(stream.medium),
          m_keys(secret, stream, suite, seal::CFrameKey::Use::Seal),
          m_sharedStart(start & seal::kStartMask) {}

    /// Test seam: as if this key ID had been used for that much; the key must be made already.
    static void Seem(CSealer& sealer, uint64_t counter, uint64_t bytes) {
        CLeafHold hold(sealer.m_pState->m_lock);
        sealer.m_pState->m_counter = counter;
        sealer.m_pState->m_bytes = bytes;
    }
    /// Test seam: a key ID of the test's own.
    static void Seem(CSealer& sealer, uint64_t keyID) {
        CLeafHold hold(sealer.m_pState->m_lock);
        sealer.m_pState->m_bKey = sealer.m_pState->TakeKeyID(keyID);
    }

    /// Asked without the lock, which another thread of the parent may have held for ever.
    bool IsForked() const { return m_nForks != Lumo_Base::Forks(); }
    /// Draws a key ID where there is none or a limit is reached, and writes the header of a frame of that length.
    SealOutcome Prepare(int64_t length) LUMO_REQUIRES(m_lock);
    /// Seals a frame behind the header that Prepare has written.
    SealOutcome Run(const LumoSealPart* parts, int count, unsigned char* sealed) LUMO_REQUIRES(m_lock);
    /// The length of a frame once Prepare has been called for it.
    int64_t SealedLength(int64_t length) const LUMO_REQUIRES(m_lock) {
        return length + m_headerLength + seal::kTagLength;
    }

    const SealMedium m_medium;
    CLeafLock m_lock;
    uint64_t m_keyID LUMO_GUARDED_BY(m_lock) = 0;
    int m_headerLength LUMO_GUARDED_BY(m_lock) = 0;

private:
    bool Draw() LUMO_REQUIRES(m_lock);
    bool TakeKeyID(uint64_t keyID) LUMO_REQUIRES(m_lock);
    bool IsUsedUp(int64_t length) const LUMO_REQUIRES(m_lock);

    const unsigned m_nForks = Lumo_Base::Forks();
    CKeyMaker m_keys LUMO_GUARDED_BY(m_lock);
    const uint64_t m_sharedStart;  ///< of all lanes of this sender; 0: it has no other lane
    seal::CFrameKey m_key LUMO_GUARDED_BY(m_lock);
    bool m_bKey LUMO_GUARDED_BY(m_lock) = false;
    uint64_t m_counter LUMO_GUARDED_BY(m_lock) = 0;
    uint64_t m_bytes LUMO_GUARDED_BY(m_lock) = 0;
    std::array<unsigned char, seal::kHeaderMost + 1> m_header LUMO_GUARDED_BY(m_lock){};
};
