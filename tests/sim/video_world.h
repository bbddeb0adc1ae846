// A publisher of video, a relay server and those who watch, each a process of its own in a simulated network.
#pragma once

#include "lumomedia/video.h"
#include "sim/server_node.h"

#include <memory>
#include <string>
#include <vector>

namespace sim {

constexpr uint32_t kVideoChannel = 77;
constexpr Address kPublisher{0x0a000001, 5001};

/// Thirty pictures a second, or those it is told to write. A key frame when it is asked for one, and every so often.
class CPublisher : public CNode, public IVideoSenderNotify {
public:
    static constexpr uint64_t kEveryMs = 33;

    CPublisher(CWorld& world, CFakeNet& net) : CNode(world, net, kPublisher, MakeClient) {
        Do([&] {
            m_pChannel = std::make_unique<CVideoChannel>(kVideoChannel);
            m_pSender = CreateVideoSenderUDP(*this, kVideoChannel, kServer.ip, 0, 0, kServer.port);
        });
    }
    ~CPublisher() override {
        Do([&] {
            m_pSender->ReleaseConnections();
            m_pChannel->ReleaseConnections();
            m_pChannel.reset();
        });
        Release();
    }
    /// As this process.
    void Write(bool key, size_t length) {
        std::string frame(length, '\0');
        frame[0] = key ? 1 : 0;
        for (int i = 0; i < 4; ++i) frame[3 + static_cast<size_t>(i)] = static_cast<char>(written.size() >> (8 * i));
        written.push_back(m_world.Elapsed());
        m_pChannel->OnVideoChannelData(frame.data(), static_cast<int>(length));
    }
    unsigned long Buffering() {
        unsigned long count = 0;
        Do([&] { count = m_pChannel->GetBufferingFrameCount(); });
        return count;
    }
    void OnConnected(unsigned long) override {}
    void OnKeyFrameRequest() override { ++requests; }

    uint64_t keyEvery = 0;  // frames; 0: on request alone
    bool films = true;
    int requests = 0;
    std::vector<uint64_t> written;  // when, by number

protected:
    void OnTurn() override {
        if (!films || m_world.Elapsed() < m_nNext) return;
        m_nNext = m_world.Elapsed() + kEveryMs;
        const bool asked = requests != m_nAnswered;
        m_nAnswered = requests;
        const bool key = asked || (keyEvery != 0 && written.size() % keyEvery == 0);
        Write(key, key ? 40 << 10 : 4 << 10);
    }

private:
    std::unique_ptr<CVideoChannel> m_pChannel;
    IVideoSender* m_pSender = nullptr;
    uint64_t m_nNext = 0;
    int m_nAnswered = 0;
};

struct CSeen {
    uint64_t when;
    uint32_t number;
    bool key;
};

class CWatcher : public CNode, public IVideoReceiverNotify {
public:
    CWatcher(CWorld& world, CFakeNet& net, Address address) : CNode(world, net, address, MakeClient) {
        Do([&] {
            receiver = CreateVideoReceiverUDP(*this, kVideoChannel, kServer.ip, 0, 0, kServer.port, 0, 0, 0, 0, 1);
        });
    }
    ~CWatcher() override {
        Do([&] { receiver->ReleaseConnections(); });
        Release();
    }
    void OnConnected(unsigned long) override {}
    void OnVideoData(const char* data, int) override {
        uint32_t number = 0;
        for (int i = 0; i < 4; ++i) number |= static_cast<uint32_t>(static_cast<uint8_t>(data[3 + i])) << (8 * i);
        seen.push_back({m_world.Elapsed(), number, data[0] != 0});
    }
    /// Pictures that do not follow the one before; `order` and `keys` tell whether they went on, and with a key frame.
    struct CGaps {
        size_t count = 0;
        bool order = true, keys = true;
    };
    CGaps Gaps() const {
        CGaps gaps;
        for (size_t i = 1; i < seen.size(); ++i) {
            gaps.order = gaps.order && seen[i].number > seen[i - 1].number;
            if (seen[i].number == seen[i - 1].number + 1) continue;
            ++gaps.count;
            gaps.keys = gaps.keys && seen[i].key;
        }
        return gaps;
    }

    IVideoReceiver* receiver = nullptr;
    std::vector<CSeen> seen;

protected:
    void OnTurn() override {
        if (m_world.Elapsed() < m_nNextPoll) return;
        m_nNextPoll = m_world.Elapsed() + 1000;
        receiver->IsDisconnected();
    }

private:
    uint64_t m_nNextPoll = 0;
};

}  // namespace sim
