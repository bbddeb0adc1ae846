// Whatever three sessions say at once, none is left waiting for an object that the centre holds.
#include "lumomedia/whiteboard.h"
#include "sim/random.h"
#include "support/wb_words.h"

#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <thread>

using namespace wb_words;

namespace {

constexpr uint32_t kObjects = 6;  // so few that they are fought over

/// A session that follows the rules of drawing, and what it knows.
class CDrawer {
public:
    /// Does something, or answers nothing: the message to send.
    std::string Act(sim::CRandom& random) {
        const uint32_t id = 1 + random.Below(kObjects);
        switch (random.Below(8)) {
            case 0:
                return Forget(id), Message(kDelete, 0, 0, Words({id, 1 + random.Below(kObjects)}));
            case 1:
                return ForgetAll(), Message(kClear);
            case 2:
                return Message(kMove, 0, 0, Words({1, 2, id}));
            case 3:
                return Message(kList, 0, 0, Words({id, id + 1}));
            case 4:
                return Message(random.Chance(500) ? kOffer : kExtOffer, id);
            default:
                return Take(id), Message(random.Chance(500) ? kData : kExtData, id);
        }
    }
    /// The answers to one message.
    std::vector<std::string> Hear(const std::string& message) {
        const uint32_t command = WordAt(message, 0), id = WordAt(message, 4);
        std::vector<std::string> answers;
        if (command == kOffer || command == kExtOffer) Want(id, command + 1, answers);
        if ((command == kRequest || command == kExtRequest) && m_have.count(id) > 0)
            answers.push_back(Message(command + 1, id));
        if (command == kData || command == kExtData) Take(id);
        if (command == kClear) ForgetAll();
        for (size_t at = 12; at + 4 <= message.size(); at += 4) {
            if (command == kDelete) Forget(WordAt(message, at));
            if (command == kList) Want(WordAt(message, at), kRequest, answers);
        }
        return answers;
    }
    const std::set<uint32_t>& Waiting() const { return m_waiting; }

private:
    void Want(uint32_t id, uint32_t request, std::vector<std::string>& answers) {
        if (m_have.count(id) > 0) return;
        m_waiting.insert(id);
        answers.push_back(Message(request, id));
    }
    void Take(uint32_t id) {
        m_waiting.erase(id);
        m_have.insert(id);
    }
    void Forget(uint32_t id) {
        m_have.erase(id);
        m_waiting.erase(id);
    }
    void ForgetAll() {
        m_have.clear();
        m_waiting.clear();
    }

    std::set<uint32_t> m_have, m_waiting;
};

/// The way of the messages between one session and the centre, in both directions.
struct CLane {
    CDrawer drawer;
    std::deque<std::string> up, down;
    std::mutex mutex;  // of `down`
    bool joined = false;

    std::string Take(std::deque<std::string>& queue) {
        std::lock_guard<std::mutex> lock(mutex);
        if (queue.empty()) return {};
        std::string front = std::move(queue.front());
        queue.pop_front();
        return front;
    }
};

class CLaneCentre : public CWBDataTransCenter {
public:
    void SendWBData(unsigned long session, const char* data, int length) override {
        CLane& lane = lanes[session - 1];
        std::lock_guard<std::mutex> lock(lane.mutex);
        lane.down.emplace_back(data, static_cast<size_t>(length));
    }
    void Say(unsigned long session, const std::string& message) {
        ProcessWBData(session, message.data(), static_cast<int>(message.size()));
    }
    bool Holds(uint32_t id) {
        CLane& lane = lanes[3];
        lane.down.clear();
        Say(4, Message(kRequest, id));
        return !lane.down.empty();
    }
    void Join(unsigned long session) {
        lanes[session - 1].joined = true;
        SessionJoined(session);
    }
    /// Reads one message and queues the answers; false when there is none.
    bool HearOne(CLane& lane) {
        const std::string message = lane.Take(lane.down);
        for (std::string& answer : message.empty() ? std::vector<std::string>() : lane.drawer.Hear(message))
            lane.up.push_back(std::move(answer));
        return !message.empty();
    }
    bool SayOne(unsigned long session) {
        CLane& lane = lanes[session - 1];
        if (lane.up.empty()) return false;
        const std::string message = std::move(lane.up.front());
        lane.up.pop_front();
        Say(session, message);
        return true;
    }
    /// Once everything said has been heard.
    void ExpectNobodyWaits() {
        for (bool moved = true; moved;) {
            moved = false;
            for (unsigned long session : {1UL, 2UL, 3UL})
                while (HearOne(lanes[session - 1]) || SayOne(session)) moved = true;
        }
        for (unsigned long session : {1UL, 2UL, 3UL})
            for (uint32_t id : lanes[session - 1].drawer.Waiting())
                EXPECT_FALSE(Holds(id)) << "session " << session << " waits for object " << id;
    }

    CLane lanes[4];
};

TEST(CentreProperty, NobodyIsLeftWaiting) {
    for (uint64_t seed = 1; seed <= 3000; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        sim::CRandom random(seed);
        CLaneCentre centre;
        centre.Join(1);
        for (int step = 0; step < 120; ++step) {
            const unsigned long session = 1 + random.Below(3);
            CLane& lane = centre.lanes[session - 1];
            if (!lane.joined)
                centre.Join(session);
            else if (const uint32_t what = random.Below(3); what == 0)
                lane.up.push_back(lane.drawer.Act(random));
            else
                what == 1 ? centre.HearOne(lane) : centre.SayOne(session);
        }
        centre.ExpectNobodyWaits();
        if (testing::Test::HasFailure()) return;
    }
}

TEST(CentreProperty, NorWithOneThreadEach) {
    CLaneCentre centre;
    std::vector<std::thread> threads;
    for (unsigned long session : {1UL, 2UL, 3UL})
        threads.emplace_back([&centre, session] {
            sim::CRandom random(session);
            CLane& lane = centre.lanes[session - 1];
            centre.Join(session);
            for (int step = 0; step < 3000; ++step) {
                lane.up.push_back(lane.drawer.Act(random));
                while (centre.HearOne(lane) || centre.SayOne(session)) {}
            }
        });
    for (std::thread& thread : threads) thread.join();
    centre.ExpectNobodyWaits();
}

}  // namespace
