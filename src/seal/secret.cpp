#include <lumomedia/seal.h>

#include <openssl/crypto.h>
#include <openssl/rand.h>

#include <cstring>

namespace {

constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
constexpr int kBitsOfDigit = 6;
// 22 digits hold 4 bits more than 16 bytes: these are 0, so that a secret has one text.
constexpr unsigned kSpareBits = 4;

/// All digits are looked at, so that the time says nothing about which one it is. 64 for none.
unsigned DigitValue(char digit) {
    unsigned value = 64;
    for (unsigned i = 0; i < 64; ++i)
        if (kDigits[i] == digit) value = i;
    return value;
}

}  // namespace

CSealSecret::CSealSecret() : m_abySecret{}, m_bSet(false) {}
CSealSecret::~CSealSecret() { OPENSSL_cleanse(m_abySecret, sizeof m_abySecret); }
CSealSecret::CSealSecret(const CSealSecret&) = default;
CSealSecret& CSealSecret::operator=(const CSealSecret&) = default;

bool CSealSecret::IsSet() const { return m_bSet; }

bool CSealSecret::Draw() {
    m_bSet = RAND_priv_bytes(m_abySecret, sizeof m_abySecret) == 1;
    return m_bSet;
}

bool CSealSecret::Parse(const char* text, int length) {
    m_bSet = false;
    if (!text || length != kSealSecretLength) return false;
    unsigned bits = 0;
    int count = 0;
    unsigned char* at = m_abySecret;
    for (int i = 0; i < length; ++i) {
        const unsigned value = DigitValue(text[i]);
        if (value > 63) return false;
        bits = bits << kBitsOfDigit | value;
        count += kBitsOfDigit;
        if (count < 8) continue;
        count -= 8;
        *at++ = static_cast<unsigned char>(bits >> count);
        bits &= (1U << count) - 1;
    }
    m_bSet = bits == 0;
    return m_bSet;
}

void CSealSecret::GetText(char (&text)[kSealSecretLength + 1]) const {
    std::memset(text, 0, sizeof text);
    if (!m_bSet) return;
    char* to = text;
    unsigned bits = 0;
    int count = 0;
    for (const unsigned char byte : m_abySecret) {
        bits = bits << 8 | byte;
        count += 8;
        for (; count >= kBitsOfDigit; bits &= (1U << count) - 1) {
            count -= kBitsOfDigit;
            *to++ = kDigits[bits >> count];
        }
    }
    *to = kDigits[bits << kSpareBits];
}

void CSealSecret::Wipe(void* memory, int length) {
    if (length > 0) OPENSSL_cleanse(memory, static_cast<size_t>(length));
}
