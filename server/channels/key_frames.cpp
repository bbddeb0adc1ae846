#include "server/channels/key_frames.h"

#include "link/process/work_signal.h"
#include "server/channels/server_channel.h"
#include "server/channels/server_channel_table.h"

void CKeyFrames::Want(ChannelKey key) {
    const std::shared_ptr<CServerChannel> channel = m_channels.Find(key);
    if (!channel) return;
    channel->WantKeyFrame(false);
    Add(key);
    CWorkSignal::Get().Wake();
}

void CKeyFrames::OnPublisher(CServerChannel& channel) {
    if (channel.Wanted() == 0) return;
    channel.WantKeyFrame(true);
    Add(channel.Key());
}

void CKeyFrames::Add(ChannelKey key) {
    CAutoLock lock(&m_cs);
    m_wanted.insert(key);
    m_bAny.store(true, std::memory_order_relaxed);
}

void CKeyFrames::OnTurn(uint32_t now) {
    if (!m_bAny.load(std::memory_order_relaxed)) return;
    CAutoLock gate(&m_gate);
    std::set<ChannelKey> wanted;
    {
        CAutoLock lock(&m_cs);
        wanted.swap(m_wanted);
        m_bAny.store(false, std::memory_order_relaxed);
    }
    for (const ChannelKey key : wanted) {
        const std::shared_ptr<CServerChannel> channel = m_channels.Find(key);
        if (channel && channel->AskForKeyFrame(now)) Add(key);
    }
}
