// embed_whiteboard CHANNEL PORT TEXT SECONDS: draws a text at the relay on this machine, prints what others draw.
#include <lumomedia/lumomedia.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

// The application's place at the board. What it is sent waits to be taken by the thread that answers.
struct Participant : CWBSession, IWBSessionClientNotify {
    explicit Participant(CWBChannel* channel) : CWBSession(channel) {}
    bool IsDisconnected() override { return false; }
    void OnWBSessionClientNotifyConnected(unsigned long) override { std::puts("connected"); }
    void SendWBSessionData(const char* data, int len) override {
        std::lock_guard<std::mutex> lock(mutex);
        if (len >= 12 && data[1] == 0) heard.emplace_back(data, len);  // codes over 255 are applications' own
    }
    std::vector<std::string> Take() {
        std::lock_guard<std::mutex> lock(mutex);
        return std::exchange(heard, {});
    }
    void Say(char command, const std::string& id, const std::string& payload = "") {
        const std::string message = command + std::string(3, '\0') + id + std::string(4, '\0') + payload;
        OnWBSessionData(message.data(), static_cast<int>(message.size()));
    }
    std::mutex mutex;
    std::vector<std::string> heard;
};

int main(int argc, char** argv) {
    ILocalMcuMgr* mcu = argc == 5 ? CreateLocalMcuMgr(0) : nullptr;
    if (!mcu) return 1;
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const unsigned long id = std::strtoul(argv[1], nullptr, 0);
    const auto port = static_cast<unsigned short>(std::atoi(argv[2]));
    CWBChannel* channel = new CWBChannel(id);
    channel->Connect();
    Participant me(channel);
    me.JoinWBChannel();
    IWBSessionClient* client = CreateWBSessionClientUDP(me, id, 0x7f000001, 0, 0, port, 0, 0, 0, 0, false);
    const auto mine = static_cast<unsigned>(me.GetWBSessionID());
    if (*argv[3]) me.Say(WB_CMD_OBJECT_DATA, std::string(reinterpret_cast<const char*>(&mine), 4), argv[3]);
    for (int left = std::atoi(argv[4]); client && left > 0 && !client->IsDisconnected(); --left, sleep(1))
        for (const std::string& said : me.Take()) {
            if (said[0] == WB_CMD_OBJECT_DATA) std::printf("object: %s\n", said.c_str() + 12);
            if (said[0] == WB_CMD_OBJECT_OFFER) me.Say(WB_CMD_OBJECT_REQUEST, said.substr(4, 4));
            for (size_t at = 12; said[0] == WB_CMD_OBJECT_LIST && at + 4 <= said.size(); at += 4)
                me.Say(WB_CMD_OBJECT_REQUEST, said.substr(at, 4));
        }
    me.LeaveWBChannel();
    if (client) client->ReleaseConnections();
    channel->ReleaseConnections();
    delete channel;
    mcu->ReleaseConnections();
    return client ? 0 : 1;
}
