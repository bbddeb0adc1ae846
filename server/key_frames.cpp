#include "server/key_frames.h"

#include "link/work_signal.h"
#include "server/stream.h"
#include "server/stream_table.h"

void CKeyFrames::Want(ChannelKey key) {
    const std::shared_ptr<CStream> stream = m_streams.Find(key);
    if (!stream) return;
    stream->WantKeyFrame(false);
    Add(key);
    CWorkSignal::Get().Wake();
}

void CKeyFrames::OnPublisher(CStream& stream) {
    if (stream.Wanted() == 0) return;
    stream.WantKeyFrame(true);
    Add(stream.Key());
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
        const std::shared_ptr<CStream> stream = m_streams.Find(key);
        if (stream && stream->AskForKeyFrame(now)) Add(key);
    }
}
