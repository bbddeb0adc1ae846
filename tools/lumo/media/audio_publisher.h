// Makes the frames of an audio channel out of an Ogg Opus stream.
#pragma once

#include "tools/lumo/media/audio_frame.h"
#include "tools/lumo/media/fetch_state.h"
#include "tools/lumo/media/ogg_opus_reader.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace lumo {

/// Without clock or network: who owns it sends each packet when it is due. One thread.
class CAudioPublisher {
public:
    using State = FetchState;
    using Out = std::function<void(const std::string& frame)>;

    explicit CAudioPublisher(Out out);

    /// Frames will be sealed, and have room for less.
    void SetSealed(bool sealed) { m_nMaxPacket = sealed ? kMaxSealedAudioPacket : kMaxAudioPacket; }
    void Feed(const char* data, size_t length) { m_reader->Feed(data, length); }
    void Finish() { m_reader->Finish(); }
    /// The same stream comes once more from its beginning; sequence and position go on.
    void Rewind() {
        m_reader.emplace();
        m_bFound = false;
    }
    /// Looks for the next packet.
    State Fetch(uint64_t nowMs);
    uint64_t GoOnAt() const { return 0; }
    /// When the packet that is ready shall leave.
    uint64_t DueMs() const;
    /// Sends that packet, and before it the heads when they are due.
    void Send(uint64_t nowMs, uint64_t wallUs);
    /// Tells subscribers that no more will come.
    void SayGoodbye(uint64_t wallUs);

    uint64_t Packets() const { return m_ulSequence; }
    uint64_t Bytes() const { return m_ullBytes; }
    const std::string& Problem() const { return m_strProblem; }

    static constexpr uint64_t kHeadsMs = 2000;
    static constexpr uint64_t kLateMs = 100;  ///< what is made up for when the stream or this host lags behind

private:
    void SendControl(const std::string& body, uint64_t wallUs);
    std::string TooLong() const;

    const Out m_out;
    size_t m_nMaxPacket = kMaxAudioPacket;
    std::optional<COggOpusReader> m_reader;
    bool m_bFound = false;    // a packet since the beginning
    std::string m_strPacket;  // ready to leave; empty: none
    std::string m_strHead;
    std::string m_strTags;
    std::optional<uint64_t> m_startedMs;  // when the first packet was there
    std::optional<uint64_t> m_headsMs;    // when the heads left last
    uint32_t m_ulSequence = 0;
    uint64_t m_ullPosition = 0;  // samples sent
    uint64_t m_ullBytes = 0;
    std::string m_strProblem;
};

}  // namespace lumo
