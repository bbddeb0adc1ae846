// A session alone: what it says is kept, what it hears is made by hand.
#pragma once

#include "core/sctp_session.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace sim {

struct Said {
    bool ack = false;
    bool flag = false;
    uint16_t sequence = 0;
    uint8_t window = 0;
    bool begin = false;
    bool end = false;
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

/// Flag, command 1, sequence and advertised window as an acknowledgement carries them.
inline std::string AckPacket(bool flag, uint16_t sequence, uint8_t window = 0) {
    CSCTPPacket packet(session::kHeaderLen);
    packet.SetCommand(session::SCTP_CMD_ACK);
    packet.SetFlag(flag);
    packet.SetSequence(sequence);
    packet.SetWindowSize(window);
    return {packet.GetPacketData(), session::kHeaderLen};
}

inline std::string DataPacket(uint16_t sequence, const std::string& payload, bool begin = true, bool end = true) {
    CSCTPPacket packet(session::kHeaderLen);
    packet.SetSequence(sequence);
    packet.SetBegin(begin);
    packet.SetEnd(end);
    return std::string(packet.GetPacketData(), session::kHeaderLen) + payload;
}

}  // namespace sim
