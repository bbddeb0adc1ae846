// A session alone: what it says is kept, what it hears is made by hand.
#pragma once

#include "core/sctp_session.h"
#include "support/session_wire.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace sim {

struct Said {
    bool ack, flag;
    uint16_t sequence;
    uint8_t window;
    bool begin, end;
    std::string payload;
};

class CProbe : public CSCTPSession {
public:
    CProbe() { OpenSession(); }
    ~CProbe() override { CloseSession(); }

    bool Send(std::string frame) { return SendFrame(frame.data(), static_cast<int>(frame.size())); }
    /// Passes until one sends nothing.
    void Pump() {
        while (ProcessSend()) {}
    }
    void Hear(std::string packet) { OnSCTPSessionReceivedData(packet.data(), static_cast<int>(packet.size())); }

    std::vector<Said> TakeSaid() { return std::exchange(said, {}); }
    std::vector<uint16_t> TakeSequences() {
        std::vector<uint16_t> sequences;
        for (const Said& packet : TakeSaid()) sequences.push_back(packet.sequence);
        return sequences;
    }
    /// Acknowledgements as text: "+5" everything up to 5, "-7" only 7.
    std::string TakeAcks() {
        std::string acks;
        for (const Said& packet : TakeSaid())
            if (packet.ack) acks += (packet.flag ? " +" : " -") + std::to_string(packet.sequence);
        return acks;
    }

    void OnSCTPSessionReceivedFrame(char* frame, int length) override {
        frames.emplace_back(frame, static_cast<size_t>(length));
    }
    void SendSCTPData(char* data, int length) override {
        CSCTPPacket packet(data, length);
        said.push_back({packet.GetCommand() == session::SCTP_CMD_ACK, packet.GetFlag(), packet.GetSequence(),
                        packet.GetWindowSize(), packet.GetBegin(), packet.GetEnd(),
                        std::string(data + session::kHeaderLen, static_cast<size_t>(length - session::kHeaderLen))});
    }

    std::vector<Said> said;
    std::vector<std::string> frames;
};

inline std::string AckPacket(bool flag, uint16_t sequence, uint8_t window = 0) {
    return session_wire::Packet(sequence, flag ? 0x21 : 0x01, static_cast<uint8_t>(window << 3), "");
}
inline std::string DataPacket(uint16_t sequence, const std::string& payload, bool begin = true, bool end = true) {
    return session_wire::Packet(sequence, 0, static_cast<uint8_t>((begin ? 0x04 : 0) | (end ? 0x02 : 0)), payload);
}

}  // namespace sim
