// The key of one key ID, and what it does to frames.
#pragma once

#include "seal/wiped.h"

#include <lumomedia/seal.h>

#include <openssl/evp.h>

#include <memory>
#include <string>

namespace seal {

constexpr int kTagLength = 16;

/// HKDF without a salt, of what fits into one hash. Not synchronised.
class CHkdf {
public:
    using Hash = Wiped<64>;  ///< of the longest hash; a shorter one leaves zeros

    explicit CHkdf(SealSuite suite);
    /// All are false when the cryptographic library refuses.
    bool Extract(const unsigned char* key, size_t length, Hash& extracted);
    bool Expand(const Hash& extracted, std::string info, unsigned char* out, size_t length);

private:
    struct Free {
        void operator()(EVP_MAC_CTX* context) const { EVP_MAC_CTX_free(context); }
    };
    bool Hmac(const unsigned char* key, size_t keyLength, const void* text, size_t length, Hash& out);

    std::unique_ptr<EVP_MAC_CTX, Free> m_pContext;
    const size_t m_nLength;
};

/// A cipher that is set up once for a key and used for many frames. Wiped when it goes. Not synchronised.
class CFrameKey {
public:
    enum class Use { Open, Seal };

    /// Makes key and salt from a base key; false when that fails, and nothing may be done with it then.
    bool Set(SealSuite suite, Use use, uint64_t keyID, const unsigned char* baseKey, size_t baseKeyLength, CHkdf& hkdf);
    /// Begins a frame. Whoever seals never gives a counter twice.
    bool Begin(uint64_t counter, const unsigned char* authenticated, int length);
    /// Seals or opens a part of it; `out` is where `in` is, or somewhere else altogether.
    bool Pass(const void* in, int length, void* out);
    bool FinishSeal(unsigned char* tag);
    /// False for anything but what was sealed.
    bool FinishOpen(const unsigned char* tag);

private:
    struct Free {
        void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
    };
    static constexpr size_t kNonceLength = 12;

    std::unique_ptr<EVP_CIPHER_CTX, Free> m_pContext;
    Wiped<kNonceLength> m_salt;
};

}  // namespace seal
