// The inside of an opener.
#pragma once

#include "platform/lumobase/leaf_lock.h"
#include "seal/counter_window.h"
#include "seal/key_maker.h"
#include "seal/make_state.h"
#include "seal/past_senders.h"

#include <array>
#include <list>

struct COpenerState {
    static constexpr size_t kMostKeys = 64;

    /// One whose key is held.
    struct Sender {
        explicit Sender(bool anyOrder) : window(anyOrder) {}
        uint64_t keyID = 0;
        seal::CFrameKey key;
        seal::CCounterWindow window;
    };

    COpenerState(const CSealSecret& secret, const LumoSealStream& stream, SealSuite suite, bool anyStart)
        : m_medium(stream.medium),
          m_kind(seal::SendersOf(stream)),
          m_keys(secret, stream, suite, seal::CFrameKey::Use::Open),
          m_past(m_kind, anyStart) {}

    /// Opens a whole frame into `frame`, which has room for it.
    SealOutcome Open(const seal::Header& header, const unsigned char* sealed, int length, unsigned char* frame)
        LUMO_REQUIRES(m_lock);
    /// The same; want of memory is an outcome.
    SealOutcome OpenCaught(const seal::Header& header, const unsigned char* sealed, int length, unsigned char* frame)
        LUMO_REQUIRES(m_lock);

    const SealMedium m_medium;
    const seal::Senders m_kind;
    CLeafLock m_lock;
    std::array<unsigned long long, SEAL_OUTCOMES> m_counts LUMO_GUARDED_BY(m_lock){};

private:
    /// Of a sender whose key is not held: it is known once a frame of it has opened, so what is invented displaces
    /// nobody.
    SealOutcome OpenNew(const seal::Header& header, const unsigned char* sealed, int length, unsigned char* frame)
        LUMO_REQUIRES(m_lock);
    /// Makes the candidate, of which a frame has just opened, one of the senders.
    void Admit(const seal::Header& header) LUMO_REQUIRES(m_lock);

    CKeyMaker m_keys LUMO_GUARDED_BY(m_lock);
    std::list<Sender> m_senders LUMO_GUARDED_BY(m_lock);    ///< who was heard last is first
    std::list<Sender> m_candidate LUMO_GUARDED_BY(m_lock);  ///< one at most, whose key was tried last
    seal::CPastSenders m_past LUMO_GUARDED_BY(m_lock);
};
