// Publishes a sealed video at the relay server of this machine and opens what comes back: seal_video CHANNEL PORT
#include <lumomedia/lumomedia.h>
#include <lumomedia/seal.h>

#include <unistd.h>
#include <cstdio>
#include <cstdlib>

struct Viewer : COpener, IVideoSenderNotify, IVideoReceiverNotify {
    using COpener::COpener;
    void OnConnected(unsigned long) override {}
    void OnKeyFrameRequest() override {}
    void OnVideoData(const char* sealed, int length) override {
        char picture[100];
        if (Open(sealed, length, picture, sizeof picture, length) != SEAL_DONE) return;
        std::printf("opened: %.*s\n", length - 3, picture + 3);
    }
};

int main(int argc, char** argv) {
    CSealSecret secret;  // whoever has it can watch
    ILocalMcuMgr* mcu = CreateLocalMcuMgr(0);
    if (argc != 3 || !mcu || !secret.Draw()) return 1;
    const unsigned long id = std::strtoul(argv[1], nullptr, 0), ip = 0x7f000001;
    const auto port = static_cast<unsigned short>(std::atoi(argv[2]));
    CSealer sealer(secret, {SEAL_VIDEO, SEAL_DOWN, id});
    Viewer viewer(secret, {SEAL_VIDEO, SEAL_DOWN, id});
    CVideoChannel* channel = new CVideoChannel(id);
    IVideoSender* sender = CreateVideoSenderUDP(viewer, id, ip, 0, 0, port);
    IVideoReceiver* receiver = CreateVideoReceiverUDP(viewer, id, ip, 0, 0, port, 0, 0, 0, 0, 1);
    for (int second = 0; second < 20 && viewer.GetCount(SEAL_DONE) == 0; ++second, sleep(1)) {
        char picture[] = "\1\0\0good morning", sealed[sizeof picture + kSealOverhead];  // the 1 says: a key frame
        int length = 0;
        sealer.Seal(picture, sizeof picture - 1, sealed, sizeof sealed, length);
        if (!sender->IsDisconnected() && !receiver->IsDisconnected()) channel->OnVideoChannelData(sealed, length);
    }
    receiver->ReleaseConnections(), sender->ReleaseConnections();
    mcu->ReleaseConnections();  // deletes the channel, too
    return viewer.GetCount(SEAL_DONE) > 0 ? 0 : 1;
}
