#include "seal/key_maker.h"

#include <utility>

namespace {

void Append(std::string& text, uint64_t value, int length) {
    for (int i = length - 1; i >= 0; --i) text += static_cast<char>(value >> (8 * i));
}

}  // namespace

CKeyMaker::CKeyMaker(const CSealSecret& secret, const LumoSealStream& stream, SealSuite suite, seal::CFrameKey::Use use)
    : m_stream(stream), m_suite(suite), m_use(use), m_baseHkdf(SEAL_AES_128_GCM_SHA256_128), m_suiteHkdf(suite) {
    m_bSecret = secret.IsSet() && m_baseHkdf.Extract(secret.m_abySecret, sizeof secret.m_abySecret, m_extracted);
}

bool CKeyMaker::MakeBase(uint64_t keyID, seal::Wiped<32>& base) {
    std::string info = "lumomedia sealed frames 1 ";
    Append(info, keyID, 8);
    Append(info, m_stream.medium, 1);
    Append(info, m_stream.ulChannelID, 4);
    Append(info, m_stream.direction, 1);
    return m_bSecret && m_baseHkdf.Expand(m_extracted, std::move(info), base.data(), base.size());
}

bool CKeyMaker::Make(uint64_t keyID, seal::CFrameKey& key) {
    seal::Wiped<32> base;
    return MakeBase(keyID, base) && key.Set(m_suite, m_use, keyID, base.data(), base.size(), m_suiteHkdf);
}
