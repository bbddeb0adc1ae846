#include "seal/opener_state.h"

#include <cstring>
#include <new>

namespace {

using seal::Header;

unsigned char* Bytes(void* at) { return static_cast<unsigned char*>(at); }
const unsigned char* Bytes(const void* at) { return static_cast<const unsigned char*>(at); }

/// Opens a frame whose header is read. What did not open is wiped: nobody shall use it by mistake.
SealOutcome OpenWith(seal::CFrameKey& key, SealMedium medium, const Header& header, const unsigned char* sealed,
                     int length, unsigned char* frame) {
    const int clear = seal::ClearBytes(medium);
    const int metadata = seal::MetadataBytes(medium);
    const int body = length - clear - header.length - seal::kTagLength;
    const unsigned char* const cipher = sealed + clear + header.length;

    unsigned char authenticated[seal::kHeaderMost + 1];
    std::memcpy(authenticated, sealed + clear, static_cast<size_t>(header.length));
    std::memcpy(authenticated + header.length, sealed, static_cast<size_t>(metadata));
    if (key.Begin(header.counter, authenticated, header.length + metadata) && key.Pass(cipher, body, frame + clear) &&
        key.FinishOpen(cipher + body)) {
        std::memmove(frame, sealed, static_cast<size_t>(clear));
        return SEAL_DONE;
    }
    OPENSSL_cleanse(frame + clear, static_cast<size_t>(body));
    return SEAL_WRONG;
}

}  // namespace

SealOutcome COpenerState::Open(const Header& header, const unsigned char* sealed, int length, unsigned char* frame) {
    for (auto sender = m_senders.begin(); sender != m_senders.end(); ++sender) {
        if (sender->keyID != header.keyID) continue;
        if (!sender->window.MayCome(header.counter)) return SEAL_REPEATED;
        const SealOutcome outcome = OpenWith(sender->key, m_medium, header, sealed, length, frame);
        if (outcome != SEAL_DONE) return outcome;
        sender->window.Note(header.counter);
        m_senders.splice(m_senders.begin(), m_senders, sender);
        return SEAL_DONE;
    }
    const SealOutcome judged = m_past.Judge(header);
    return judged == SEAL_DONE ? OpenNew(header, sealed, length, frame) : judged;
}

SealOutcome COpenerState::OpenNew(const Header& header, const unsigned char* sealed, int length, unsigned char* frame) {
    if (m_candidate.empty()) m_candidate.emplace_back(m_medium == SEAL_AUDIO);
    Sender& candidate = m_candidate.front();
    if (candidate.keyID != header.keyID) {
        candidate.keyID = 0;  // of no sender, should the next line fail
        if (!m_keys.Make(header.keyID, candidate.key)) return SEAL_FAILED;
        candidate.keyID = header.keyID;
    }
    const SealOutcome outcome = OpenWith(candidate.key, m_medium, header, sealed, length, frame);
    if (outcome == SEAL_DONE) Admit(header);
    return outcome;
}

void COpenerState::Admit(const Header& header) {
    // Whatever throws comes before the sender is in, so that the frame counts as not opened.
    std::list<Sender> gone;
    if (m_past.IsLater(header.keyID)) {
        m_past.BeginStart(header.keyID);
        gone.swap(m_senders);
    } else if (m_kind == seal::Senders::One) {
        for (; !m_senders.empty(); m_senders.pop_front()) m_past.Close(m_senders.front().keyID);
    } else if (m_senders.size() == kMostKeys) {
        m_past.Remember(m_senders.back().keyID, m_senders.back().window.Highest());
        gone.splice(gone.begin(), m_senders, std::prev(m_senders.end()));
    }
    Sender& candidate = m_candidate.front();
    uint64_t highest = 0;
    if (m_past.Find(header.keyID, highest)) candidate.window.GoOnFrom(highest);
    candidate.window.Note(header.counter);
    m_past.Forget(header.keyID);
    m_senders.splice(m_senders.begin(), m_candidate);
}

SealOutcome COpenerState::OpenCaught(const Header& header, const unsigned char* sealed, int length,
                                     unsigned char* frame) {
    try {
        return Open(header, sealed, length, frame);
    } catch (const std::bad_alloc&) {
        return SEAL_FAILED;
    }
}

COpener::COpener(const CSealSecret& secret, const LumoSealStream& stream, SealSuite suite, bool bAnyStart)
    : m_pState(seal::MakeState<COpenerState>(secret, stream, suite, bAnyStart)) {}

COpener::~COpener() { delete m_pState; }

SealOutcome COpener::Open(const void* sealed, int length, void* frame, int room, int& frameLength) {
    frameLength = 0;
    if (!m_pState) return SEAL_FAILED;
    CLeafHold hold(m_pState->m_lock);
    Header header{};
    SealOutcome outcome = seal::ReadFrame(m_pState->m_medium, Bytes(sealed), length, header);
    const int opened = length - header.length - seal::kTagLength;
    if (outcome == SEAL_DONE && (!frame || room < opened)) outcome = SEAL_NO_ROOM;
    if (outcome == SEAL_DONE) outcome = m_pState->OpenCaught(header, Bytes(sealed), length, Bytes(frame));
    if (outcome == SEAL_DONE) frameLength = opened;
    ++m_pState->m_counts[outcome];
    return outcome;
}

SealOutcome COpener::OpenInPlace(void* sealed, int length, void*& frame, int& frameLength) {
    frame = nullptr;
    frameLength = 0;
    if (!m_pState) return SEAL_FAILED;
    // A frame lies where its cipher text lay, the clear bytes right before it.
    Header header{};
    const SealOutcome outcome = seal::ReadFrame(m_pState->m_medium, Bytes(sealed), length, header);
    unsigned char* const to = outcome == SEAL_DONE ? Bytes(sealed) + header.length : nullptr;
    const SealOutcome opened = Open(sealed, length, to, length, frameLength);
    if (opened == SEAL_DONE) frame = to;
    return opened;
}

unsigned long long COpener::GetCount(SealOutcome outcome) const {
    if (!m_pState || outcome < 0 || outcome >= SEAL_OUTCOMES) return 0;
    CLeafHold hold(m_pState->m_lock);
    return m_pState->m_counts[outcome];
}
