#include "tools/lumo/seal/stream_seal.h"

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
    const bool opened = length <= INT_MAX && Take(data, length);
    m_bOpened = m_bOpened || opened;
    if (!m_bOpened) m_vain.Note(m_last, now);
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
    if (m_medium == SEAL_VIDEO) NumberVideo(data, keyID, counter);
    return true;
}

// A publisher that goes on under another key ID has left out only what the counter there shows.
void CStreamOpener::NumberVideo(char* frame, uint64_t keyID, uint64_t counter) {
    if (keyID != m_ullKeyID) m_nFirst = m_nNext;
    m_ullKeyID = keyID;
    const uint64_t number = m_nFirst + counter;
    m_nNext = number + 1;
    frame[1] = static_cast<char>(number >> 8);
    frame[2] = static_cast<char>(number);
}

std::map<std::string, uint64_t> CStreamOpener::Dropped() const {
    static constexpr std::pair<SealOutcome, const char*> kReasons[] = {
        {SEAL_PLAIN, "plain"},        {SEAL_MALFORMED, "malformed"}, {SEAL_WRONG, "wrong"},
        {SEAL_REPEATED, "repeated"},  {SEAL_EARLIER, "earlier"},     {SEAL_START, "start"},
        {SEAL_FORGOTTEN, "forgotten"}};
    std::map<std::string, uint64_t> dropped;
    if (m_ullSealed > 0) dropped["sealed"] = m_ullSealed;
    for (const auto& [outcome, reason] : kReasons)
        if (m_opener && m_opener->GetCount(outcome) > 0) dropped[reason] = m_opener->GetCount(outcome);
    return dropped;
}

void CStreamOpener::VainRun::Note(SealOutcome why, uint64_t now) {
    if (frames == 0 || now - lastMs > kPauseMs) *this = {0, 0, 0, now, now};
    ++frames;
    plain += why == SEAL_PLAIN ? 1 : 0;
    clock += why == SEAL_START ? 1 : 0;
    lastMs = now;
}

bool CStreamOpener::VainRun::Lasts(uint64_t now) const {
    return frames >= kLeastFrames && lastMs - firstMs >= kLeastMs && now - firstMs >= kJudgeMs;
}

SealVerdict CStreamOpener::Verdict(uint64_t now) const {
    return m_bOpened || m_vain.Lasts(now) ? LastVerdict() : SealVerdict::NothingYet;
}

SealVerdict CStreamOpener::LastVerdict() const {
    if (m_bOpened) return SealVerdict::Opened;
    if (m_vain.frames == 0) return SealVerdict::NothingYet;
    if (!m_opener) return SealVerdict::SenderIsSealed;
    const uint64_t wrong = m_vain.frames - m_vain.plain - m_vain.clock;
    if (m_vain.plain > wrong && m_vain.plain >= m_vain.clock) return SealVerdict::SenderIsPlain;
    return m_vain.clock > wrong ? SealVerdict::ClockDiffers : SealVerdict::WrongSecret;
}

}  // namespace lumo
