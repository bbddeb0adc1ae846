#include "platform/lumonet/tcp_send_queue.h"

#include "platform/lumobase/clock.h"

#include <algorithm>
#include <utility>

bool CTcpSendQueue::PushFrame(CSharedMessage frame, CQueueCharge charge) {
    if (!frame) return false;
    const auto since = static_cast<uint32_t>(Lumo_Base::GetTimestamp());
    CAutoLock lock(&m_cs);
    if (m_bClosed) return false;
    DropAged();
    m_items.push_back({std::move(frame), false, since, std::move(charge), {}});
    Count(m_items.back());
    return Wake();
}

bool CTcpSendQueue::PushNewest(uint64_t key, CSharedMessage frame, CQueueCharge charge) {
    if (!frame) return false;
    Item item{std::move(frame), false, static_cast<uint32_t>(Lumo_Base::GetTimestamp()), std::move(charge), key};
    CAutoLock lock(&m_cs);
    if (m_bClosed) return false;
    if (m_newest.Takes(key)) {
        m_newest.Put(key, std::move(item));
    } else {
        m_items.push_back(std::move(item));
        m_items.back().newestOf.reset();
        Count(m_items.back());
    }
    return Wake();
}

bool CTcpSendQueue::PushValidation(const char* data, uint32_t length) {
    CSharedMessage message = EncodeShared(TcpKind::Validation, data, length);
    if (!message) return false;
    CAutoLock lock(&m_cs);
    if (m_bClosed || m_bValidated) return false;
    m_items.push_front({std::move(message), true, 0, {}, {}});
    m_bValidated = true;  // once nothing can fail any more
    Count(m_items.front());
    return Wake();
}

void CTcpSendQueue::Count(const Item& item) {
    m_nCount.fetch_add(1, std::memory_order_relaxed);
    m_nBytes.fetch_add(item.message->length - net::kHeaderLen, std::memory_order_relaxed);
}

bool CTcpSendQueue::Wake() {
    if (m_bWriterAwake || !m_bValidated) return false;
    m_bWriterAwake = true;
    return true;
}

CTcpSendQueue::Pieces CTcpSendQueue::Gather() {
    CAutoLock lock(&m_cs);
    size_t count = 0;
    size_t bytes = 0;
    if (m_bValidated) {
        DropAged();
        TakeNewest();
        const size_t most = Ages() ? net::kAgingWriteTurn : net::kWriteTurn;
        for (const Item& item : m_items) {
            if (count == m_pieces.size() || bytes >= most) break;
            const size_t skip = count == 0 ? m_nOffset : 0;
            m_pieces[count] = asio::const_buffer(item.message->block.Get() + skip, item.message->length - skip);
            bytes += m_pieces[count++].size();
        }
    }
    m_nBusy = count;
    m_bWriterAwake = count > 0;
    return {m_pieces.data(), count};
}

void CTcpSendQueue::Sent(size_t bytes) {
    CAutoLock lock(&m_cs);
    size_t left = m_nBusy;
    m_nOffset += bytes;
    size_t gone = 0;
    while (gone < left && m_nOffset >= m_items[gone].message->length) m_nOffset -= m_items[gone++].message->length;
    Erase(0, gone);
    left -= gone;
    const size_t begun = std::min(left, Unclearable());
    if (m_bClearBusy)
        Erase(begun, left);
    else
        PutNewestBack(begun, left);
    m_bClearBusy = false;
    m_nBusy = 0;
}

void CTcpSendQueue::Clear() {
    CAutoLock lock(&m_cs);
    const size_t keep = std::max(m_nBusy, Unclearable());
    if (keep < m_items.size()) Erase(keep, m_items.size());
    m_newest.Clear();
    m_bClearBusy = m_nBusy > 0;
}

// Times rise from the front to the back, but for what a thread that was overtaken pushed.
void CTcpSendQueue::DropAged() {
    const uint32_t most = m_ulMaxAge.load(std::memory_order_relaxed);
    if (most == 0 || m_items.empty()) return;
    const auto now = static_cast<uint32_t>(Lumo_Base::GetTimestamp());
    for (size_t i = std::max(m_nBusy, Unclearable()); i < m_items.size() && ElapsedMs(now, m_items[i].since) > most;) {
        if (m_items[i].message->length == net::kHeaderLen + 1) {
            ++i;
        } else {
            Erase(i, i + 1);
            m_nAged.fetch_add(1, std::memory_order_relaxed);
        }
    }
}

// All that the writer is given then are such frames, or the rest of one that has begun.
void CTcpSendQueue::TakeNewest() {
    m_bGathersNewest = m_items.empty() && !m_newest.IsEmpty();
    for (Item item; m_bGathersNewest && m_items.size() < m_pieces.size() && m_newest.Take(item);) {
        m_items.push_back(std::move(item));
        Count(m_items.back());
    }
}

// What the kernel has not begun to take may be replaced still, unless it has been meanwhile.
void CTcpSendQueue::PutNewestBack(size_t from, size_t to) {
    if (!m_bGathersNewest) return;
    for (size_t i = from; i < to; ++i) {
        Item& item = m_items[i];
        const uint64_t key = item.newestOf.value_or(0);
        if (m_newest.Takes(key) && !m_newest.Has(key))
            m_newest.Put(key, {item.message, false, item.since, std::move(item.charge), key});
    }
    Erase(from, to);
}

void CTcpSendQueue::Close() {
    std::deque<Item> gone;
    {
        CAutoLock lock(&m_cs);
        m_bClosed = true;
        m_newest.Clear();
        gone.swap(m_items);
        m_nOffset = m_nBusy = 0;
        m_nCount.store(0, std::memory_order_relaxed);
        m_nBytes.store(0, std::memory_order_relaxed);
    }
}

bool CTcpSendQueue::Finish() {
    CAutoLock lock(&m_cs);
    m_bClosed = true;
    return !std::exchange(m_bWriterAwake, true);
}

void CTcpSendQueue::NotWoken() {
    CAutoLock lock(&m_cs);
    m_bWriterAwake = false;
}

size_t CTcpSendQueue::Unclearable() const {
    return !m_items.empty() && (m_nOffset > 0 || m_items.front().validation) ? 1 : 0;
}

void CTcpSendQueue::Erase(size_t from, size_t to) {
    for (size_t i = from; i < to; ++i) {
        m_nBytes.fetch_sub(m_items[i].message->length - net::kHeaderLen, std::memory_order_relaxed);
    }
    m_nCount.fetch_sub(static_cast<uint32_t>(to - from), std::memory_order_relaxed);
    using Offset = std::deque<Item>::difference_type;
    m_items.erase(m_items.begin() + static_cast<Offset>(from), m_items.begin() + static_cast<Offset>(to));
}
