// Publishes a line of text on a channel of a relay server, or prints what another host publishes there:
//   embed_file publish|receive CHANNEL PORT       (the relay server is on this machine)
#include <lumomedia/lumomedia.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

struct TextChannel : CFileChannel {
    explicit TextChannel(unsigned long id) : CFileChannel(id) {}
    void OnFileSinkData(const void*, int) override {}  // what a subscriber sends upstream
};

struct Listener final : IFileSenderNotify, IFileReceiverNotify {
    std::atomic<bool> done{false};
    void OnFileSenderNotifyConnected(unsigned long, bool) override { std::puts("connected"); }
    void OnFileReceiverNotifyConnected(unsigned long) override { std::puts("connected"); }
    void OnFileReceiverNotifyData(const char* data, int length) override {
        std::printf("received: %.*s\n", length, data);
        done = true;
    }
};

int main(int argc, char** argv) {
    ILocalMcuMgr* mcu = CreateLocalMcuMgr(0);
    if (!mcu) return 1;
    std::printf("local port %d\n", mcu->GetLocalPort());
    Listener listener;
    const bool publish = argc == 4 && std::string(argv[1]) == "publish";
    if (argc == 4) {
        const unsigned long id = std::strtoul(argv[2], nullptr, 0), ip = 0x7f000001;
        const unsigned short port = static_cast<unsigned short>(std::atoi(argv[3]));
        TextChannel channel(id);
        channel.Connect();
        IFileSender* sender = nullptr;
        IFileReceiver* receiver = nullptr;
        if (publish)
            sender = CreateFileSenderUDP(listener, id, ip, 0, 0, port);
        else
            receiver = CreateFileReceiverUDP(listener, id, ip, 0, 0, port, 0, 0, 0, 0, false);
        for (int second = 0; second < 20 && !listener.done && (sender || receiver); ++second) {
            if (sender) channel.OnFileChannelData("good morning", 12);
            if (sender ? sender->IsDisconnected() : receiver->IsDisconnected()) break;
            std::this_thread::sleep_for(std::chrono::seconds(1));
        }
        if (sender) sender->ReleaseConnections();
        if (receiver) receiver->ReleaseConnections();
        channel.ReleaseConnections();
    }
    mcu->ReleaseConnections();
    return argc != 4 || publish || listener.done ? 0 : 1;
}
