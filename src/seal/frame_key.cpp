#include "seal/frame_key.h"

#include <openssl/core_names.h>
#include <openssl/params.h>

#include <cstring>

namespace seal {
namespace {

struct SuiteRow {
    const char* hash;
    size_t hashLength;
    size_t keyLength;
    const EVP_CIPHER* (*cipher)();
};

const SuiteRow& RowOf(SealSuite suite) {
    static const SuiteRow small{"SHA256", 32, 16, EVP_aes_128_gcm};
    static const SuiteRow large{"SHA512", 64, 32, EVP_aes_256_gcm};
    return suite == SEAL_AES_256_GCM_SHA512_128 ? large : small;
}

std::string Label(const char* text, uint64_t keyID, SealSuite suite) {
    std::string label = text;
    for (int shift = 56; shift >= 0; shift -= 8) label += static_cast<char>(keyID >> shift);
    label += '\0';
    return label + static_cast<char>(suite);
}

}  // namespace

CHkdf::CHkdf(SealSuite suite) : m_nLength(RowOf(suite).hashLength) {
    EVP_MAC* mac = EVP_MAC_fetch(nullptr, "HMAC", nullptr);
    if (mac) m_pContext.reset(EVP_MAC_CTX_new(mac));
    EVP_MAC_free(mac);
    // The parameters are only read, whatever their type says.
    const OSSL_PARAM parameters[] = {
        OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, const_cast<char*>(RowOf(suite).hash), 0),
        OSSL_PARAM_construct_end()};
    if (m_pContext && EVP_MAC_CTX_set_params(m_pContext.get(), parameters) != 1) m_pContext.reset();
}

bool CHkdf::Hmac(const unsigned char* key, size_t keyLength, const void* text, size_t length, Hash& out) {
    size_t written = 0;
    return m_pContext && EVP_MAC_init(m_pContext.get(), key, keyLength, nullptr) == 1 &&
           EVP_MAC_update(m_pContext.get(), static_cast<const unsigned char*>(text), length) == 1 &&
           EVP_MAC_final(m_pContext.get(), out.data(), &written, out.size()) == 1;
}

bool CHkdf::Extract(const unsigned char* key, size_t length, Hash& extracted) {
    const Hash zeros;
    return Hmac(zeros.data(), m_nLength, key, length, extracted);
}

bool CHkdf::Expand(const Hash& extracted, std::string info, unsigned char* out, size_t length) {
    constexpr char kFirstBlock = 1;
    info += kFirstBlock;
    Hash block;
    if (length > m_nLength || !Hmac(extracted.data(), m_nLength, info.data(), info.size(), block)) return false;
    std::memcpy(out, block.data(), length);
    return true;
}

bool CFrameKey::Set(SealSuite suite, Use use, uint64_t keyID, const unsigned char* baseKey, size_t baseKeyLength,
                    CHkdf& hkdf) {
    const SuiteRow& row = RowOf(suite);
    const EVP_CIPHER* cipher = nullptr;
    if (!m_pContext) {
        m_pContext.reset(EVP_CIPHER_CTX_new());
        cipher = row.cipher();
    }
    CHkdf::Hash secret;
    Wiped<32> key;
    return m_pContext && hkdf.Extract(baseKey, baseKeyLength, secret) &&
           hkdf.Expand(secret, Label("SFrame 1.0 Secret key ", keyID, suite), key.data(), row.keyLength) &&
           hkdf.Expand(secret, Label("SFrame 1.0 Secret salt ", keyID, suite), m_salt.data(), m_salt.size()) &&
           EVP_CipherInit_ex2(m_pContext.get(), cipher, key.data(), nullptr, use == Use::Seal ? 1 : 0, nullptr) == 1;
}

bool CFrameKey::Begin(uint64_t counter, const unsigned char* authenticated, int length) {
    Wiped<kNonceLength> nonce = m_salt;
    for (size_t i = 0; i < 8; ++i)
        nonce[kNonceLength - 1 - i] = static_cast<unsigned char>(nonce[kNonceLength - 1 - i] ^ (counter >> (8 * i)));
    int ignored = 0;
    return EVP_CipherInit_ex2(m_pContext.get(), nullptr, nullptr, nonce.data(), -1, nullptr) == 1 &&
           EVP_CipherUpdate(m_pContext.get(), nullptr, &ignored, authenticated, length) == 1;
}

bool CFrameKey::Pass(const void* in, int length, void* out) {
    int passed = 0;
    return length == 0 || (EVP_CipherUpdate(m_pContext.get(), static_cast<unsigned char*>(out), &passed,
                                            static_cast<const unsigned char*>(in), length) == 1 &&
                           passed == length);
}

bool CFrameKey::FinishSeal(unsigned char* tag) {
    int ignored = 0;
    return EVP_CipherFinal_ex(m_pContext.get(), tag, &ignored) == 1 &&
           EVP_CIPHER_CTX_ctrl(m_pContext.get(), EVP_CTRL_AEAD_GET_TAG, kTagLength, tag) == 1;
}

bool CFrameKey::FinishOpen(const unsigned char* tag) {
    int ignored = 0;
    unsigned char nothing[kTagLength];
    return EVP_CIPHER_CTX_ctrl(m_pContext.get(), EVP_CTRL_AEAD_SET_TAG, kTagLength, const_cast<unsigned char*>(tag)) ==
               1 &&
           EVP_CipherFinal_ex(m_pContext.get(), nothing, &ignored) == 1;
}

}  // namespace seal
