// Two wide sessions, each as sender and receiver: what they say to each other is changed, dropped, repeated and mixed
// with what the input makes up.
#include "core/wide/wide_session.h"
#include "core/session.h"
#include "support/records.h"
#include "support/target.h"
#include "support/virtual_clock.h"

#include <array>
#include <deque>

namespace fuzz::wide_session {

void TakeInput(const uint8_t* data, size_t size);
CFuzzTarget g_target("wide_session", {"wide", "frame", "ranges", "repetition", "idle", "invented"}, TakeInput);

class CFuzzedEnd final : public ISessionOwner {
public:
    CFuzzedEnd() { session.OpenSession(); }
    ~CFuzzedEnd() { session.CloseSession(); }
    CFuzzedEnd(const CFuzzedEnd&) = delete;
    CFuzzedEnd& operator=(const CFuzzedEnd&) = delete;

    void OnSCTPSessionReceivedFrame(char*, int length) override {
        if (length > 0) g_target.Hit("frame");
    }
    void SendSCTPData(char* packet, int length) override {
        constexpr size_t kMost = 256;  // nobody reads them faster than the input says
        if (said.size() < kMost) said.emplace_back(packet, static_cast<size_t>(length));
        std::memset(packet - session::kEnvelopeRoom, 0x55, session::kEnvelopeRoom);  // as an owner's envelope would
    }

    CSession session{*this};
    std::deque<std::string> said;
};

struct Wanted {
    Wanted() { wide::SetWanted(true); }
    ~Wanted() { wide::SetWanted(false); }
};

struct Pair {
    /// The first byte says what happens, the others to what.
    void Do(const std::string& record) {
        if (record.empty()) return;
        const auto what = static_cast<unsigned char>(record[0]);
        CFuzzedEnd& to = ends[what & 1];
        CFuzzedEnd& from = ends[1 - (what & 1)];
        std::string heard = record.substr(1);
        switch ((what >> 1) & 7) {
            case 0:  // made up, behind the right tokens where they are known
                if (heard.size() >= session::kHeaderLen && !from.said.empty())
                    heard.replace(4, 8, from.said.back(), 4, 8);
                g_target.Hit("invented");
                Hear(to, heard);
                break;
            case 1: {  // changed
                if (from.said.empty()) break;
                std::string packet = from.said.front();
                for (size_t i = 0; i + 1 < heard.size(); i += 2)
                    packet[static_cast<unsigned char>(heard[i]) % packet.size()] = heard[i + 1];
                Hear(to, packet);
                break;
            }
            case 2:
                if (!from.said.empty()) from.said.pop_front();
                break;
            case 3:
                clock.Advance(1 + static_cast<unsigned char>(heard.empty() ? 0 : heard[0]) * uint32_t{50});
                break;
            case 4: {
                std::string frame(1 + heard.size() * 400, 'f');
                to.session.SendFrame(frame.data(), static_cast<int>(frame.size()));
                break;
            }
            default:
                PassOn(from, to, what >> 4);
        }
        for (CFuzzedEnd& end : ends) {
            while (end.session.ProcessSend()) {}
            end.session.DoDue(Lumo_Base::GetMicroseconds());
        }
    }

    static void PassOn(CFuzzedEnd& from, CFuzzedEnd& to, int count) {
        for (int i = 0; i <= count && !from.said.empty(); ++i) {
            const std::string packet = from.said.front();
            from.said.pop_front();
            Hear(to, packet);
        }
    }
    static void Hear(CFuzzedEnd& end, std::string packet) {
        wide::Ack ack;
        const auto length = static_cast<int>(packet.size());
        if (length >= session::kHeaderLen && wide::ReadAck(packet.data(), length, ack) && ack.rangeCount > 0)
            g_target.Hit("ranges");
        end.session.OnSCTPSessionReceivedData(packet.data(), length);
    }

    Wanted wanted;
    CVirtualClock clock;
    std::array<CFuzzedEnd, 2> ends;
};

void TakeInput(const uint8_t* data, size_t size) {
    Pair pair;
    for (const std::string& record : Records(data, size, 512)) pair.Do(record);
    for (CFuzzedEnd& end : pair.ends) {
        if (end.session.IsWideSending()) g_target.Hit("wide");
        if (end.session.GetStatistics().retransmitted > 0) g_target.Hit("repetition");
        if (end.session.IsSendIdle()) g_target.Hit("idle");
    }
}

}  // namespace fuzz::wide_session
