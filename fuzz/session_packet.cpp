// Session packets into a session that sends and receives.
#include "core/sctp_session.h"
#include "support/records.h"
#include "support/target.h"
#include "support/virtual_clock.h"

namespace fuzz::session_packet {

void TakeInput(const uint8_t* data, size_t size);
CFuzzTarget g_target("session_packet", {"frame", "cumulative", "single", "data sent", "idle"}, TakeInput);

class CFuzzedSession : public CSCTPSession {
public:
    ~CFuzzedSession() override { CloseSession(); }
    void OnSCTPSessionReceivedFrame(char* frame, int length) override {
        if (!std::string(frame, static_cast<size_t>(length)).empty()) g_target.Hit("frame");
    }
    void SendSCTPData(char* packet, int length) override {
        CSCTPPacket sent(packet, length);
        if (sent.GetCommand() == session::SCTP_CMD_DATA)
            g_target.Hit("data sent");
        else
            g_target.Hit(sent.GetFlag() ? "cumulative" : "single");
        std::memset(packet - session::kEnvelopeRoom, 0x55, session::kEnvelopeRoom);  // as an owner's envelope would
    }
};

void TakeInput(const uint8_t* data, size_t size) {
    CVirtualClock clock;
    CFuzzedSession session;
    if (!session.OpenSession()) return;
    std::string frame(3000, 'f');
    session.SendFrame(frame.data(), static_cast<int>(frame.size()));
    session.ProcessSend();
    for (std::string& packet : Records(data, size, 256)) {
        session.OnSCTPSessionReceivedData(packet.data(), static_cast<int>(packet.size()));
        clock.Advance(50);
        session.ProcessSend();
        if (session.IsSendIdle()) g_target.Hit("idle");
    }
}

}  // namespace fuzz::session_packet
