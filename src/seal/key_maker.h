// From a secret to the keys of one stream.
#pragma once

#include "seal/frame_key.h"

/// Holds what it has made of the secret for as long as keys may be wanted. Not synchronised.
class CKeyMaker {
public:
    CKeyMaker(const CSealSecret& secret, const LumoSealStream& stream, SealSuite suite, seal::CFrameKey::Use use);

    /// The base key of a key ID is bound to medium, channel and direction too. False when there is no secret or that
    /// fails.
    bool Make(uint64_t keyID, seal::CFrameKey& key);
    /// What Make begins with, on its own for tests.
    bool MakeBase(uint64_t keyID, seal::Wiped<32>& base);

private:
    const LumoSealStream m_stream;
    const SealSuite m_suite;
    const seal::CFrameKey::Use m_use;
    seal::CHkdf m_baseHkdf;
    seal::CHkdf m_suiteHkdf;
    seal::CHkdf::Hash m_extracted;  ///< of the secret
    bool m_bSecret;
};
