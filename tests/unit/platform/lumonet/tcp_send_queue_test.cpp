#include "platform/lumonet/tcp_send_queue.h"
#include "support/virtual_clock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
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

}  // namespace

// Every sequence of operations against a list of strings, some of them while the kernel takes bytes; every other time
// frames age, but for those of one byte, and else some of them give way to newer ones.
TEST(TcpSendQueue, BehavesAsASimpleModel) {
    for (unsigned seed = 0; seed < 500; ++seed) {
        std::mt19937 random(seed);
        CVirtualClock clock;
        CTcpSendQueue queue;
        const bool ages = seed % 2 == 1;
        if (ages) queue.SetMaxAge(50);
        struct Waiting {
            std::string body;
            uint32_t since;
            uint64_t key = 0;  // of one that gives way
        };
        std::deque<Waiting> model, newest;
        size_t begun = 0;   // bytes of the model's front that have left
        bool awake = true;  // the writer: it begins by itself
        std::string wire, expected;
        const auto push = [&](const std::string& body) {
            EXPECT_EQ(Push(queue, body, body == "v"), !awake) << "seed " << seed;
            awake = true;
        };
        const auto stays = [&] { return !model.empty() && (begun > 0 || model.front().body == "v") ? 1U : 0U; };
        const auto clear = [&] {
            model.erase(model.begin() + stays(), model.end());
            newest.clear();
        };
        const auto pushNewest = [&](const Waiting& one) {
            const CSharedMessage frame = ShareFrame(one.body.data(), static_cast<uint32_t>(one.body.size()));
            EXPECT_EQ(queue.PushNewest(one.key, frame), !awake) << "seed " << seed;
            awake = true;
        };
        const auto wait = [&](const Waiting& one, bool isNewer) {
            const auto same = [&](const Waiting& other) { return other.key == one.key; };
            const auto older = std::find_if(newest.begin(), newest.end(), same);
            if (older == newest.end())
                newest.push_back(one);
            else if (isNewer)
                *older = one;
        };
        push("v");
        model.push_back({"v", clock.Now()});
        for (int step = 0; step < 200; ++step) {
            const auto kind = random() % 10;
            clock.Advance(random() % 8);
            const auto aged = [&](const Waiting& one) { return clock.Now() - one.since > 50 && one.body.size() > 1; };
            if (ages && kind < 9) model.erase(std::remove_if(model.begin() + stays(), model.end(), aged), model.end());
            const bool clears = kind >= 8, pushes = kind < 5 || kind == 8, newer = !ages && kind % 3 == 1;
            const Waiting one{std::to_string(step) + std::string(random() % 20, 'x'), clock.Now(), random() % 3};
            const auto others = [&] {
                if (clears) queue.Clear();
                if (newer)
                    pushNewest(one);
                else if (pushes)
                    push(one.body);
            };
            std::deque<Waiting> gathered;
            if (kind < 5 || kind == 9) {
                others();
            } else {
                awake = !model.empty() || !newest.empty();
                const bool gathers = model.empty();
                if (gathers) model.swap(newest);
                begun += Write(queue, random() % 60, wire, others);
                if (gathers) gathered = model;
            }
            for (; !model.empty() && begun >= model.front().body.size() + net::kHeaderLen; model.pop_front()) {
                begun -= model.front().body.size() + net::kHeaderLen;
                expected += (model.front().body == "v" ? "V:" : "") + model.front().body + " ";
            }
            if (!gathered.empty()) {
                gathered.assign(model.begin() + stays(), model.end());
                model.erase(model.begin() + stays(), model.end());
            }
            if (clears) clear();
            if (newer)
                wait(one, true);
            else if (pushes)
                model.push_back(one);
            if (!clears)
                for (const Waiting& back : gathered) wait(back, false);
            size_t bytes = 0;
            for (const Waiting& one : model) bytes += one.body.size();
            ASSERT_EQ(queue.Count(), model.size()) << "seed " << seed;
            ASSERT_EQ(queue.Bytes(), bytes) << "seed " << seed;
            ASSERT_EQ(Bodies(wire), expected + (begun ? "..." : "")) << "seed " << seed;
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
