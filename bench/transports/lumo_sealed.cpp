// The library with frames sealed end to end: the bulk and the audio of the other drivers, each frame sealed once before
// its channel gets it and opened where it arrives.
#include "bench/transports/audio_run.h"
#include "bench/transports/lumo_receiver.h"
#include "bench/transports/transports.h"
#include "lumomedia/seal.h"

#include <nlohmann/json.hpp>

#include <array>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

namespace {

constexpr LumoSealStream kBulk{SEAL_FILE, SEAL_DOWN, kChannelID};
constexpr LumoSealStream kSound{SEAL_AUDIO, SEAL_DOWN, kChannelID};

/// Both processes know it without being told.
CSealSecret Secret() {
    CSealSecret secret;
    if (!secret.Parse("AAAAAAAAAAAAAAAAAAAAAA", kSealSecretLength)) throw std::runtime_error("no secret");
    return secret;
}

class CFrameSealer {
public:
    explicit CFrameSealer(const LumoSealStream& stream) : m_sealer(Secret(), stream) {}

    void Seal(const char* data, int length, const FrameHandler& send) {
        m_sealed.resize(static_cast<size_t>(length) + kSealOverhead);
        int sealedLength = 0;
        if (m_sealer.Seal(data, length, m_sealed.data(), static_cast<int>(m_sealed.size()), sealedLength) != SEAL_DONE)
            throw std::runtime_error("a frame is not sealed");
        send(m_sealed.data(), sealedLength);
    }

private:
    CSealer m_sealer;
    std::vector<char> m_sealed;
};

void PublishSealed(CSide& side) {
    CFrameSealer sealer(kBulk);
    PublishBulk(side, [&](const char* data, int length, const FrameHandler& send) { sealer.Seal(data, length, send); });
}

void Subscribe(CSide& side) {
    CLumoNode node;
    CBulkReceiver bulk(side);
    COpener opener(Secret(), kBulk);
    std::vector<char> frame(size_t{side.Spec().frameLen} + kSealOverhead);
    CLumoReceiver receiver([&](const char* data, int length) {
        int opened = 0;
        if (opener.Open(data, length, frame.data(), static_cast<int>(frame.size()), opened) != SEAL_DONE)
            side.Fail("a frame does not open");
        bulk.OnFrame(frame.data(), opened);
    });
    receiver.ConnectToPublisher(node, side.Port());
    side.Connected();
    receiver.PollUntilStopped(side);
}

void PublishSealedSound(CSide& side) {
    CLumoHost host;
    CLumoChannel<CAudioChannel> channel;
    side.Listening(host.Port());
    side.Connected();
    WaitFor("a listener", [&] { return channel->HasStartedAudioSink(); });
    CFrameSealer sealer(kSound);
    const FrameHandler send = [&](const char* data, int length) { channel->OnAudioChannelData(data, length); };
    PublishAudio(side, [&](const char* frame, int length) { sealer.Seal(frame, length, send); });
}

/// All sinks are to hear the same bytes: what comes to the first of them is opened, and the others' is compared with
/// it. Keys for each of them would crowd out what the publisher has in the processor's cache, and hosts have one.
class CHeardFrames {
public:
    bool Take(char*& frame, int& length) {
        uint64_t keyID = 0, counter = 0;
        if (!ReadSealedFrame(SEAL_AUDIO, frame, length, keyID, counter)) return false;
        Heard& heard = m_heard.at(counter % m_heard.size());
        const std::string_view sealed(frame, static_cast<size_t>(length));
        if (heard.counter != counter || heard.sealed.empty()) {
            heard = {counter, std::string(sealed), std::string(sealed.size(), '\0'), 0};
            if (m_opener.Open(frame, length, heard.opened.data(), length, heard.length) != SEAL_DONE) return false;
        }
        frame = heard.opened.data();
        length = heard.length;
        return heard.sealed == sealed;
    }

private:
    struct Heard {
        uint64_t counter = 0;
        std::string sealed, opened;
        int length = 0;
    };
    COpener m_opener{Secret(), kSound};
    std::array<Heard, 64> m_heard;  // more than a burst
};

void Hear(CSide& side) {
    CHeardFrames heard;
    HearAudio(side, Listener::Sender, [&](char*& frame, int& length) { return heard.Take(frame, length); });
}

nlohmann::json Settings() {
    return LumoSettings("a channel's UDP sink to a receiver in another process, AES-128-GCM at both ends");
}
nlohmann::json SoundSettings() {
    return LumoSettings("a channel's UDP sinks, each a socket of one other process, AES-128-GCM at both ends");
}

}  // namespace

std::vector<CDriver> LumoSealedDrivers() {
    return {{"lumo-sealed", Role::Receiver, Listener::Sender, PublishSealed, Subscribe, Settings},
            {"lumo-audio-sealed", Role::Receiver, Listener::Sender, PublishSealedSound, Hear, SoundSettings}};
}

}  // namespace bench
