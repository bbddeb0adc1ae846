#include "tools/lumo/seal/stream_seal.h"

#include <algorithm>
#include <climits>
#include <utility>

namespace lumo {

const char* VerdictText(SealVerdict verdict) {
    switch (verdict) {
        case SealVerdict::WrongSecret:
            return "wrong secret: what comes does not open with it";
        case SealVerdict::SenderIsPlain:
            return "the sender does not seal, and with a secret only sealed frames are taken";
        case SealVerdict::SenderIsSealed:
            return "the sender seals what it sends: the secret is missing, which stands behind # in its link";
        case SealVerdict::ClockDiffers:
            return "the sender's clock and this host's differ by more than a day, or what comes is a recording";
        case SealVerdict::NothingYet:
        case SealVerdict::Opened:
            break;
    }
    return "";
}

CStreamSealer::CStreamSealer(const CSealSecret& secret, const LumoSealStream& stream, unsigned long start) {
    if (secret.IsSet()) m_sealer.emplace(secret, stream, SEAL_AES_128_GCM_SHA256_128, start);
}

bool CStreamSealer::Seal(const char*& data, int& length) {
    if (!m_sealer) return true;
    if (length < 0 || length > INT_MAX - kSealOverhead) return false;
    const auto room = static_cast<size_t>(length) + kSealOverhead;
    if (m_sealed.size() < room) m_sealed.resize(room);
    int sealed = 0;
    if (m_sealer->Seal(data, length, m_sealed.data(), static_cast<int>(room), sealed) != SEAL_DONE) return false;
    data = m_sealed.data();
    length = sealed;
    return true;
}

bool CStreamSealer::Seal(char*& data, int& length) {
    const char* sealed = data;
    if (!Seal(sealed, length)) return false;
    if (m_sealer) data = m_sealed.data();
    return true;
}

bool CStreamSealer::SealInPlace(char*& data, int& length) {
    if (!m_sealer) return true;
    void* sealed = nullptr;
    int sealedLength = 0;
    if (m_sealer->SealInPlace(data, length, sealed, sealedLength) != SEAL_DONE) return false;
    data = static_cast<char*>(sealed);
    length = sealedLength;
    return true;
}

CStreamOpener::CStreamOpener(const CSealSecret& secret, const LumoSealStream& stream, bool anyStart)
    : m_medium(stream.medium) {
    if (secret.IsSet()) m_opener.emplace(secret, stream, SEAL_AES_128_GCM_SHA256_128, anyStart);
}

bool CStreamOpener::Open(char*& data, size_t& length, uint64_t now) {
    if (!m_bCame) m_ullFirstMs = now;
    m_bCame = true;
    const bool opened = length <= INT_MAX && Take(data, length);
    m_bOpened = m_bOpened || opened;
    return opened;
}

bool CStreamOpener::Take(char*& data, size_t& length) {
    uint64_t keyID = 0, counter = 0;
    const bool sealed = ReadSealedFrame(m_medium, data, static_cast<int>(length), keyID, counter);
    if (!m_opener) {
        m_ullSealed += sealed ? 1 : 0;
        return !sealed;
    }
    void* frame = nullptr;
    int frameLength = 0;
    m_last = m_opener->OpenInPlace(data, static_cast<int>(length), frame, frameLength);
    if (m_last != SEAL_DONE) return false;
    data = static_cast<char*>(frame);
    length = static_cast<size_t>(frameLength);
    if (m_medium == SEAL_VIDEO) {
        data[1] = static_cast<char>(counter >> 8);
        data[2] = static_cast<char>(counter);
    }
    return true;
}

std::map<std::string, uint64_t> CStreamOpener::Dropped() const {
    static constexpr std::pair<SealOutcome, const char*> kReasons[] = {
        {SEAL_PLAIN, "plain"},        {SEAL_MALFORMED, "malformed"}, {SEAL_WRONG, "wrong"},
        {SEAL_REPEATED, "repeated"},  {SEAL_EARLIER, "earlier"},     {SEAL_START, "start"},
        {SEAL_FORGOTTEN, "forgotten"}};
    std::map<std::string, uint64_t> dropped;
    if (m_ullSealed > 0) dropped["sealed"] = m_ullSealed;
    for (const auto& [outcome, reason] : kReasons)
        if (m_opener && Count(outcome) > 0) dropped[reason] = Count(outcome);
    return dropped;
}

SealVerdict CStreamOpener::Verdict(uint64_t now) const {
    if (m_bOpened) return SealVerdict::Opened;
    if (!m_bCame || now - std::min(now, m_ullFirstMs) < kJudgeMs) return SealVerdict::NothingYet;
    if (!m_opener) return SealVerdict::SenderIsSealed;
    const uint64_t wrong = Count(SEAL_WRONG) + Count(SEAL_MALFORMED), plain = Count(SEAL_PLAIN);
    const uint64_t clock = Count(SEAL_START);
    if (plain > wrong && plain >= clock) return SealVerdict::SenderIsPlain;
    return clock > wrong ? SealVerdict::ClockDiffers : SealVerdict::WrongSecret;
}

}  // namespace lumo
