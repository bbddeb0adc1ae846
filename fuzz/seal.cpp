// Openers of every medium, given frames that are sealed, altered, repeated, swapped between streams and made up.
#include "seal/sealer_state.h"
#include "support/records.h"
#include "support/target.h"

#include <array>
#include <cstdlib>
#include <memory>
#include <set>

namespace fuzz::seal {

void TakeInput(const uint8_t* data, size_t size);
CFuzzTarget g_target("seal", {"opened", "plain", "malformed", "wrong", "repeated", "earlier", "evicted"}, TakeInput);

constexpr std::array<LumoSealStream, 4> kStreams{
    {{SEAL_AUDIO, SEAL_DOWN, 7}, {SEAL_VIDEO, SEAL_DOWN, 7}, {SEAL_FILE, SEAL_DOWN, 7}, {SEAL_FILE, SEAL_UP, 7}}};

void Need(bool holds) {
    if (!holds) std::abort();
}

CSealSecret Secret() {
    CSealSecret secret;
    secret.Parse("AAECAwQFBgcICQoLDA0ODw", kSealSecretLength);
    return secret;
}

/// One stream's sealer and opener. Inputs are reproducible, so the key IDs are not drawn.
struct Stream {
    explicit Stream(const LumoSealStream& of) : stream(of), sealer(Secret(), of), opener(Secret(), of, kSuite, true) {
        Start(1);
    }
    void Start(unsigned char minute) { CSealerState::Seem(sealer, ::seal::KeyID(minute, ++senders)); }

    void Seal(const std::string& text) {
        const std::string frame =
            "\1"
            "23" +
            text;
        std::string out(frame.size() + kSealOverhead, '\0');
        int length = 0;
        Need(sealer.Seal(frame.data(), static_cast<int>(frame.size()), out.data(), static_cast<int>(out.size()),
                         length) == SEAL_DONE);
        sealed.push_back(out.substr(0, static_cast<size_t>(length)));
    }

    /// Nothing opens but what was sealed for this stream, once.
    void Hear(const std::string& arrived) {
        static constexpr const char* kNames[SEAL_OUTCOMES] = {"opened", "",         "",        "", "plain", "malformed",
                                                              "wrong",  "repeated", "earlier", "", ""};
        const std::unique_ptr<char[]> bytes(new char[arrived.size()]);  // of exact size, for the sanitizer
        arrived.copy(bytes.get(), arrived.size());
        void* frame = nullptr;
        int length = 0;
        const auto outcome = opener.OpenInPlace(bytes.get(), static_cast<int>(arrived.size()), frame, length);
        g_target.Hit(kNames[outcome]);
        if (outcome != SEAL_DONE) return;
        std::string canonical = arrived;
        if (stream.medium == SEAL_VIDEO) canonical.replace(1, 2, "23");  // these two bytes are anybody's
        bool known = false;
        for (const std::string& one : sealed) known = known || one == canonical;
        Need(known && opened.insert(canonical).second);
        Need(length >= 3 && static_cast<char*>(frame)[0] == 1);
    }

    static constexpr SealSuite kSuite = SEAL_AES_128_GCM_SHA256_128;
    const LumoSealStream stream;
    CSealer sealer;
    COpener opener;
    uint32_t senders = 0;
    std::vector<std::string> sealed;
    std::set<std::string> opened;
};

struct Scene {
    /// The first byte says what happens and in which stream, the others to what.
    void Do(const std::string& record) {
        if (record.empty()) return;
        const auto what = static_cast<unsigned char>(record[0]);
        Stream& stream = *streams[what & 3U];
        const std::string rest = record.substr(1);
        const auto first = static_cast<unsigned char>(rest.empty() ? 0 : rest[0]);
        switch (what >> 2U & 7U) {
            case 0:
                return stream.Hear(rest);
            case 1:
                return stream.Seal(rest);
            case 2:
                return stream.Start(first);
            case 3:
                CSealerState::Seem(stream.sealer, uint64_t{first} << 24U | stream.sealed.size(), 0);
                return;
            case 4:
                return Swap(*streams[first & 3U], stream);
            case 5:
                return Many(stream);
            default:
                return Alter(stream, rest);
        }
    }

    static void Swap(const Stream& from, Stream& to) {
        if (!from.sealed.empty()) to.Hear(from.sealed.back());
    }
    /// More senders than an opener holds keys of, and the first of them again.
    static void Many(Stream& stream) {
        const size_t before = stream.sealed.size();
        constexpr size_t kMany = 70;
        if (before > 3 * kMany) return;
        for (size_t i = 0; i < kMany; ++i) {
            stream.Start(9);
            stream.Seal("many");
            stream.Hear(stream.sealed.back());
        }
        stream.Hear(stream.sealed[before]);
        if (stream.opener.GetCount(SEAL_DONE) >= kMany) g_target.Hit("evicted");
    }
    /// One of the sealed frames, with some bytes changed.
    static void Alter(Stream& stream, const std::string& rest) {
        if (stream.sealed.empty() || rest.empty()) return;
        std::string frame = stream.sealed[static_cast<unsigned char>(rest[0]) % stream.sealed.size()];
        for (size_t i = 1; i + 1 < rest.size(); i += 2)
            frame[static_cast<unsigned char>(rest[i]) % frame.size()] ^= rest[i + 1];
        stream.Hear(frame);
    }

    std::array<std::unique_ptr<Stream>, kStreams.size()> streams = [] {
        std::array<std::unique_ptr<Stream>, kStreams.size()> made;
        for (size_t i = 0; i < made.size(); ++i) made[i] = std::make_unique<Stream>(kStreams[i]);
        return made;
    }();
};

void TakeInput(const uint8_t* data, size_t size) {
    Scene scene;
    for (const std::string& record : Records(data, size)) scene.Do(record);
}

}  // namespace fuzz::seal
