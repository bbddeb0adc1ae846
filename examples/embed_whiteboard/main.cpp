// Joins the whiteboard of a channel at a relay server, draws a line of text on it and prints what others draw:
//   embed_whiteboard CHANNEL PORT TEXT SECONDS       (the relay server is on this machine)
#include <lumomedia/lumomedia.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <string>

// The application's place at the board. What it is sent waits in a queue, for the thread that calls Answer.
class Participant : public CWBSession, public IWBSessionClientNotify {
public:
    explicit Participant(CWBChannel* channel) : CWBSession(channel) {}
    void SendWBSessionData(const char* data, int len) override {
        std::lock_guard<std::mutex> lock(mutex_);
        heard_.emplace_back(data, len);
        news_.notify_one();
    }
    bool IsDisconnected() override { return false; }
    void OnWBSessionClientNotifyConnected(unsigned long) override { std::puts("connected"); }
    void Say(unsigned command, unsigned id, const std::string& payload) {
        std::string message;
        for (unsigned word : {command, id, 0u})
            for (int shift = 0; shift < 32; shift += 8) message += static_cast<char>(word >> shift & 255);
        message += payload;
        OnWBSessionData(message.data(), static_cast<int>(message.size()));
    }
    void AnswerUntil(std::chrono::steady_clock::time_point end) {
        std::unique_lock<std::mutex> lock(mutex_);
        while (news_.wait_until(lock, end, [this] { return !heard_.empty(); })) {
            const std::string message = heard_.front();
            heard_.pop_front();
            lock.unlock();
            if (message.size() >= 12) Hear(message);
            lock.lock();
        }
    }

private:
    static unsigned Word(const std::string& from, size_t at) {
        unsigned value = 0;
        for (size_t i = 4; i-- > 0;) value = value << 8 | static_cast<unsigned char>(from[at + i]);
        return value;
    }
    void Hear(const std::string& message) {
        const unsigned command = Word(message, 0);
        if (command == WB_CMD_OBJECT_OFFER) Say(WB_CMD_OBJECT_REQUEST, Word(message, 4), "");
        if (command == WB_CMD_OBJECT_LIST)
            for (size_t at = 12; at + 4 <= message.size(); at += 4) Say(WB_CMD_OBJECT_REQUEST, Word(message, at), "");
        if (command == WB_CMD_OBJECT_DATA) std::printf("object: %s\n", message.c_str() + 12);
    }
    std::mutex mutex_;
    std::condition_variable news_;
    std::deque<std::string> heard_;
};

int main(int argc, char** argv) {
    ILocalMcuMgr* mcu = argc == 5 ? CreateLocalMcuMgr(0) : nullptr;
    if (!mcu) return 1;
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const unsigned long id = std::strtoul(argv[1], nullptr, 0), ip = 0x7f000001;
    CWBChannel* channel = new CWBChannel(id);
    channel->Connect();
    Participant participant(channel);
    participant.JoinWBChannel();
    const unsigned short port = static_cast<unsigned short>(std::atoi(argv[2]));
    IWBSessionClient* client = CreateWBSessionClientUDP(participant, id, ip, 0, 0, port, 0, 0, 0, 0, false);
    if (*argv[3]) participant.Say(WB_CMD_OBJECT_DATA, static_cast<unsigned>(participant.GetWBSessionID()), argv[3]);
    auto second = std::chrono::steady_clock::now();
    for (int left = std::atoi(argv[4]); client && left > 0 && !client->IsDisconnected(); --left)
        participant.AnswerUntil(second += std::chrono::seconds(1));
    if (client) client->ReleaseConnections();
    participant.LeaveWBChannel();
    channel->ReleaseConnections();
    delete channel;
    mcu->ReleaseConnections();
    return client ? 0 : 1;
}
