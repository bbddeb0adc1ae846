// Sealers and openers of one secret, frames as strings, and a clock that the test sets.
#pragma once

#include "platform/lumobase/wall_clock.h"
#include "seal/sealer_state.h"

#include <lumomedia/seal.h>

#include <cstdint>
#include <string>

constexpr LumoSealStream kAudio{SEAL_AUDIO, SEAL_DOWN, 7};
constexpr LumoSealStream kVideo{SEAL_VIDEO, SEAL_DOWN, 7};
constexpr LumoSealStream kFile{SEAL_FILE, SEAL_DOWN, 7};
constexpr LumoSealStream kFileUp{SEAL_FILE, SEAL_UP, 7};

/// The one secret of these tests: bytes 0 to 15.
inline CSealSecret Secret() {
    CSealSecret secret;
    secret.Parse("AAECAwQFBgcICQoLDA0ODw", kSealSecretLength);
    return secret;
}

/// The sealed frame; empty when it was refused.
inline std::string Sealed(CSealer& sealer, const std::string& frame) {
    std::string sealed(frame.size() + kSealOverhead, '\0');
    int length = 0;
    sealer.Seal(frame.data(), static_cast<int>(frame.size()), sealed.data(), static_cast<int>(sealed.size()), length);
    return sealed.substr(0, static_cast<size_t>(length));
}

struct Opened {
    SealOutcome outcome;
    std::string frame;
};
inline Opened Open(COpener& opener, const std::string& sealed) {
    std::string frame(sealed.size(), '\0');
    int length = -1;
    const SealOutcome outcome = opener.Open(sealed.data(), static_cast<int>(sealed.size()), frame.data(),
                                            static_cast<int>(frame.size()), length);
    return {outcome, frame.substr(0, static_cast<size_t>(length))};
}

/// Days after 1970, so that there is a past; it goes when the test does.
class CHandOfClock {
public:
    CHandOfClock() {
        s_minutes = 1000000;
        Lumo_Base::SetWallMinutes([] { return s_minutes; });
    }
    ~CHandOfClock() { Lumo_Base::SetWallMinutes(nullptr); }
    CHandOfClock(const CHandOfClock&) = delete;
    CHandOfClock& operator=(const CHandOfClock&) = delete;
    static void Move(int64_t minutes) { s_minutes += static_cast<uint64_t>(minutes); }

private:
    static inline uint64_t s_minutes = 0;
};
