#include "platform/lumonet/tcp_send_queue.h"
#include "support/virtual_clock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <functional>
#include <random>
#include <string>

namespace {

// Takes up to `limit` bytes, as a kernel does, and adds them to `wire`; `meanwhile` others come in between.
template <class TMeanwhile>
size_t Write(CTcpSendQueue& queue, size_t limit, std::string& wire, TMeanwhile meanwhile) {
    const CTcpSendQueue::Pieces pieces = queue.Gather();
    meanwhile();
    size_t taken = 0;
    for (const asio::const_buffer& piece : pieces) {
        const size_t length = std::min(limit - taken, piece.size());
        wire.append(static_cast<const char*>(piece.data()), length);
        taken += length;
    }
    queue.Sent(taken);
    return taken;
}

bool Push(CTcpSendQueue& queue, const std::string& body, bool validation = false) {
    const auto length = static_cast<uint32_t>(body.size());
    return validation ? queue.PushValidation(body.data(), length) : queue.PushFrame(ShareFrame(body.data(), length));
}

std::string Bodies(const std::string& wire) {
    CTcpDecoder decoder;
    decoder.SetMaxBody(net::kMaxBody);
    decoder.Feed(wire.data(), wire.size());
    CTcpMessage message;
    std::string bodies;
    while (decoder.Next(message) == CTcpDecoder::Result::Message) {
        bodies += message.kind == TcpKind::Validation ? "V:" : "";
        bodies += std::string(message.data, message.length) + " ";
    }
    return decoder.Kept() ? bodies + "..." : bodies;
}

/// A queue beside a list of strings that does the same. Every other time frames age, but for those of one byte, and
/// else some of them give way to newer ones.
class CModelledQueue {
public:
    explicit CModelledQueue(unsigned seed) : m_random(seed), m_bAges(seed % 2 == 1) {
        if (m_bAges) m_queue.SetMaxAge(50);
        Push("v");
        m_model.push_back({"v", m_clock.Now()});
    }
    /// Any operation, some of them while the kernel takes bytes.
    void Step(int step) {
        const auto kind = m_random() % 10;
        m_clock.Advance(m_random() % 8);
        if (m_bAges && kind < 9) DropAged();
        const bool clears = kind >= 8, pushes = kind < 5 || kind == 8, newer = !m_bAges && kind % 3 == 1;
        const std::string longer = std::to_string(step) + std::string(m_random() % 20, 'x');
        const Waiting one{m_random() % 4 > 0 ? longer : "k", m_clock.Now(), m_random() % 3};
        const auto others = [&] {
            if (clears) m_queue.Clear();
            if (newer)
                PushNewest(one);
            else if (pushes)
                Push(one.body);
        };
        const bool writes = kind >= 5 && kind != 9, gathers = writes && m_model.empty();
        if (writes)
            TakeBytes(gathers, others);
        else
            others();
        std::deque<Waiting> back;
        if (gathers) back.assign(m_model.begin() + Stay(), m_model.end());
        if (gathers || clears) m_model.erase(m_model.begin() + Stay(), m_model.end());
        if (clears) m_newest.clear();
        if (newer)
            Wait(one, true);
        else if (pushes)
            m_model.push_back(one);
        for (size_t i = 0; i < back.size() && !clears; ++i) Wait(back[i], false);
    }
    void ExpectAlike() {
        size_t bytes = 0;
        for (const Waiting& one : m_model) bytes += one.body.size();
        ASSERT_EQ(m_queue.Count(), m_model.size());
        ASSERT_EQ(m_queue.Bytes(), bytes);
        ASSERT_EQ(Bodies(m_wire), m_expected + (m_begun ? "..." : ""));
    }

private:
    struct Waiting {
        std::string body;
        uint32_t since;
        uint64_t key = 0;  // of one that gives way
    };

    void Push(const std::string& body) {
        EXPECT_EQ(::Push(m_queue, body, body == "v"), !m_bAwake);
        m_bAwake = true;
    }
    void PushNewest(const Waiting& one) {
        const CSharedMessage frame = ShareFrame(one.body.data(), static_cast<uint32_t>(one.body.size()));
        EXPECT_EQ(m_queue.PushNewest(one.key, frame), !m_bAwake);
        m_bAwake = true;
    }
    void Wait(const Waiting& one, bool isNewer) {
        const auto same = [&](const Waiting& other) { return other.key == one.key; };
        const auto older = std::find_if(m_newest.begin(), m_newest.end(), same);
        if (older == m_newest.end())
            m_newest.push_back(one);
        else if (isNewer)
            *older = one;
    }
    /// How many cannot be dropped: what has begun to leave.
    std::ptrdiff_t Stay() const { return !m_model.empty() && (m_begun > 0 || m_model.front().body == "v") ? 1 : 0; }
    void DropAged() {
        const auto aged = [&](const Waiting& one) { return m_clock.Now() - one.since > 50 && one.body.size() > 1; };
        m_model.erase(std::remove_if(m_model.begin() + Stay(), m_model.end(), aged), m_model.end());
    }
    void TakeBytes(bool gathers, const std::function<void()>& meanwhile) {
        m_bAwake = !m_model.empty() || !m_newest.empty();
        if (gathers) m_model.swap(m_newest);
        m_begun += Write(m_queue, m_random() % 60, m_wire, meanwhile);
        for (; !m_model.empty() && m_begun >= m_model.front().body.size() + net::kHeaderLen; m_model.pop_front()) {
            m_begun -= m_model.front().body.size() + net::kHeaderLen;
            m_expected += (m_model.front().body == "v" ? "V:" : "") + m_model.front().body + " ";
        }
    }

    std::mt19937 m_random;
    CVirtualClock m_clock;
    CTcpSendQueue m_queue;
    const bool m_bAges;
    std::deque<Waiting> m_model, m_newest;
    size_t m_begun = 0;    // bytes of the model's front that have left
    bool m_bAwake = true;  // the writer: it begins by itself
    std::string m_wire, m_expected;
};

}  // namespace

TEST(TcpSendQueue, BehavesAsASimpleModel) {
    for (unsigned seed = 0; seed < 500; ++seed) {
        CModelledQueue queue(seed);
        for (int step = 0; step < 200; ++step) {
            queue.Step(step);
            queue.ExpectAlike();
            ASSERT_FALSE(HasFailure()) << "seed " << seed;
        }
    }
}

TEST(TcpSendQueue, AFanOutSharesOneCopyThatIsCountedOnce) {
    const std::string frame(100000, 'f'), other(frame);
    const uint64_t before = SendBudget().Sum();
    CTcpSendQueue first, second;
    {
        CTcpFanOut fanOut(frame.data(), static_cast<int>(frame.size()));
        for (CTcpSendQueue* queue : {&first, &second}) {
            Push(*queue, "hello", true);
            Push(*queue, frame);
            Push(*queue, other);
        }
    }
    const auto piece = [](CTcpSendQueue& queue, size_t index) { return queue.Gather()[index].data(); };
    EXPECT_EQ(piece(first, 1), piece(second, 1));
    EXPECT_NE(piece(first, 2), piece(second, 2)) << "other bytes than the fan-out's";
    const auto copies = [&] { return (SendBudget().Sum() - before) / frame.size(); };
    EXPECT_EQ(copies(), 3U);
    for (CTcpSendQueue* queue : {&first, &second}) {
        queue->Sent(0);
        queue->Close();
        EXPECT_EQ(copies(), queue == &first ? 2U : 0U);
    }
}
