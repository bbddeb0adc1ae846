#include "platform/lumobase/wall_clock.h"
#include "seal/sealer_state.h"

#include <openssl/rand.h>

#include <algorithm>
#include <climits>
#include <cstring>

bool CSealerState::TakeKeyID(uint64_t keyID) {
    m_keyID = keyID;
    m_counter = 0;
    m_bytes = 0;
    return m_keys.Make(keyID, m_key);
}

bool CSealerState::Draw() {
    m_bKey = false;
    const uint64_t before = m_keyID;
    // The own starts never go back, whatever the clock does: openers take nothing of an earlier one.
    const uint64_t start =
        m_sharedStart != 0 ? m_sharedStart : std::max(seal::StartOf(before), Lumo_Base::WallMinutes());
    uint64_t keyID = before;
    while (keyID == before) {
        uint32_t random = 0;
        if (RAND_bytes(reinterpret_cast<unsigned char*>(&random), sizeof random) != 1) return false;
        keyID = seal::KeyID(start, random);
    }
    m_bKey = TakeKeyID(keyID);
    return m_bKey;
}

bool CSealerState::IsUsedUp(int64_t length) const {
    if (m_counter >= kFramesOfKey || m_bytes + static_cast<uint64_t>(length) > kBytesOfKey) return true;
    return m_sharedStart == 0 && Lumo_Base::WallMinutes() >= seal::StartOf(m_keyID) + kMinutesOfKey;
}

SealOutcome CSealerState::Prepare(int64_t length) {
    if (length < seal::ClearBytes(m_medium) || length > INT_MAX - kSealOverhead) return SEAL_FAILED;
    if ((!m_bKey || IsUsedUp(length)) && !Draw()) return SEAL_FAILED;
    m_headerLength = seal::WriteHeader(m_keyID, m_counter, m_header.data());
    return SEAL_DONE;
}

SealOutcome CSealerState::Run(const LumoSealPart* parts, int count, unsigned char* sealed) {
    const int clear = seal::ClearBytes(m_medium);
    int left = clear;
    for (int i = 0; left > 0; ++i) {
        const int taken = std::min(left, parts[i].length);
        if (taken > 0) std::memmove(sealed + clear - left, parts[i].data, static_cast<size_t>(taken));
        left -= taken;
    }
    std::memcpy(sealed + clear, m_header.data(), static_cast<size_t>(m_headerLength));
    // The metadata stands behind the header only here, where both are authenticated.
    const int metadata = seal::MetadataBytes(m_medium);
    std::memcpy(m_header.data() + m_headerLength, sealed, static_cast<size_t>(metadata));

    // The counter is used up whatever comes now.
    bool good = m_key.Begin(m_counter++, m_header.data(), m_headerLength + metadata);
    unsigned char* to = sealed + clear + m_headerLength;
    left = clear;
    for (int i = 0; good && i < count; ++i) {
        const int skipped = std::min(left, parts[i].length);
        left -= skipped;
        const int length = parts[i].length - skipped;
        m_bytes += static_cast<uint64_t>(length);
        good = m_key.Pass(static_cast<const unsigned char*>(parts[i].data) + skipped, length, to);
        to += length;
    }
    return good && m_key.FinishSeal(to) ? SEAL_DONE : SEAL_FAILED;
}

CSealer::CSealer(const CSealSecret& secret, const LumoSealStream& stream, SealSuite suite, unsigned long ulStart)
    : m_pState(seal::MakeState<CSealerState>(secret, stream, suite, ulStart)) {
    if (!m_pState) return;
    CLeafHold hold(m_pState->m_lock);
    m_pState->Prepare(seal::ClearBytes(stream.medium));  // so that the key ID can be asked for
}

CSealer::~CSealer() { delete m_pState; }

SealOutcome CSealer::Seal(const void* frame, int length, void* sealed, int room, int& sealedLength) {
    const LumoSealPart whole{frame, length};
    return SealParts(&whole, 1, sealed, room, sealedLength);
}

SealOutcome CSealer::SealParts(const LumoSealPart* parts, int count, void* sealed, int room, int& sealedLength) {
    sealedLength = 0;
    if (!m_pState) return SEAL_FAILED;
    if (m_pState->IsForked()) return SEAL_FORKED;
    int64_t length = 0;
    for (int i = 0; i < count; ++i) {
        if (parts[i].length < 0) return SEAL_FAILED;
        length += parts[i].length;
    }
    CLeafHold hold(m_pState->m_lock);
    const SealOutcome prepared = m_pState->Prepare(length);
    if (prepared != SEAL_DONE) return prepared;
    const int64_t whole = m_pState->SealedLength(length);
    if (room < whole) return SEAL_NO_ROOM;
    const SealOutcome outcome = m_pState->Run(parts, count, static_cast<unsigned char*>(sealed));
    if (outcome == SEAL_DONE) sealedLength = static_cast<int>(whole);
    return outcome;
}

SealOutcome CSealer::SealInPlace(void* frame, int length, void*& sealed, int& sealedLength) {
    sealed = nullptr;
    sealedLength = 0;
    if (!m_pState) return SEAL_FAILED;
    if (m_pState->IsForked()) return SEAL_FORKED;
    CLeafHold hold(m_pState->m_lock);
    const SealOutcome prepared = m_pState->Prepare(length);
    if (prepared != SEAL_DONE) return prepared;
    // The rest of the frame is sealed where it lies; the clear bytes move in front of the header.
    unsigned char* const begin = static_cast<unsigned char*>(frame) - m_pState->m_headerLength;
    const LumoSealPart whole{frame, length};
    const SealOutcome outcome = m_pState->Run(&whole, 1, begin);
    if (outcome != SEAL_DONE) return outcome;
    sealed = begin;
    sealedLength = static_cast<int>(m_pState->SealedLength(length));
    return SEAL_DONE;
}

uint64_t CSealer::GetKeyID() const {
    if (!m_pState) return 0;
    CLeafHold hold(m_pState->m_lock);
    return m_pState->m_keyID;
}

unsigned long CSealer::StartNow() { return static_cast<unsigned long>(Lumo_Base::WallMinutes() & seal::kStartMask); }
