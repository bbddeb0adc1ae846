// A shared screen and its viewers on a virtual clock: who gets which picture when.
#include "tools/lumo/demo/test_picture.h"
#include "tools/lumo/media/desktop_publisher.h"
#include "tools/lumo/media/desktop_viewer.h"
#include "tools/lumo/media/pointer_input.h"

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <list>

using namespace lumo;
using namespace std::string_literals;

namespace {

constexpr uint64_t kTravelMs = 5;  // of a frame, in each direction

Picture Screen(uint32_t number) { return {PictureFormat::Png, TestPng(4, 1, number) + std::to_string(number)}; }

/// A viewer that takes `showMs` for each picture.
struct Seat {
    Seat(uint64_t id, uint64_t show) : viewer(id), showMs(show) {}

    void Run(uint64_t now) {
        if (showing && now >= showing) {
            viewer.OnShown(now * 1000);
            shown.push_back(picture.bytes);
            showing = 0;
        }
        for (; !showing && !down.empty() && down.front().first <= now; down.pop_front()) {
            const std::string& frame = down.front().second;
            if (viewer.OnFrame(frame.data(), frame.size(), picture) == CDesktopViewer::Take::Picture)
                showing = now + showMs;
        }
        std::string report;
        if (!silent && viewer.Speak(now, report)) up.emplace_back(now + kTravelMs, report);
    }

    CDesktopViewer viewer;
    const uint64_t showMs;
    bool deaf = false, silent = false;
    std::deque<std::pair<uint64_t, std::string>> down, up;  // with their arrival
    Picture picture;
    uint64_t showing = 0;
    std::vector<std::string> shown;
};

class SharedScreen : public ::testing::Test {
protected:
    SharedScreen() { Start(77); }
    void Start(uint32_t stream) {
        publisher.emplace(
            [this](const std::string& frame) {
                for (Seat& seat : seats)
                    if (!seat.deaf) seat.down.emplace_back(now + kTravelMs, frame);
            },
            [this](const ViewerPointer& pointer) { pointers.push_back(pointer); }, stream);
    }
    void Hear(const std::string& report) { publisher->OnReport(report.data(), report.size(), now); }
    Seat& Add(uint64_t showMs = 1) { return seats.emplace_back(seats.size() + 1, showMs); }
    void Offer(uint32_t number) { publisher->Offer(Screen(number), now, now * 1000); }

    /// For so long, with a new picture so often (0: none).
    void Run(uint64_t ms, uint64_t pictureMs = 0) {
        for (const uint64_t end = now + ms; now < end; ++now) {
            if (pictureMs > 0 && now % pictureMs == 0) Offer(++pictures);
            for (Seat& seat : seats) {
                seat.Run(now);
                for (; !seat.up.empty() && seat.up.front().first <= now; seat.up.pop_front())
                    Hear(seat.up.front().second);
            }
            publisher->Poll(now, now * 1000);
        }
    }
    DesktopReport Report() const { return publisher->Report(now); }
    std::string Newest() const { return Screen(pictures).bytes; }

    std::optional<CDesktopPublisher> publisher;
    std::list<Seat> seats;
    std::vector<ViewerPointer> pointers;
    uint64_t now = 100000;
    uint32_t pictures = 0;
};

TEST_F(SharedScreen, ThePaceIsTheSlowestViewersAndWhatNobodyCouldShowIsSkipped) {
    const Seat &fast = Add(), &slow = Add(250);
    Run(10000, 20);
    EXPECT_NEAR(static_cast<double>(slow.shown.size()), 40, 3) << "as fast as it can";
    EXPECT_LE(fast.shown.size(), slow.shown.size() + CDesktopPublisher::kAhead);
    EXPECT_EQ(Report().sent + Report().skipped + 1, pictures) << "one still waits";
    EXPECT_EQ(Report().repeated, 0U) << "both were there from the beginning";
    EXPECT_LE(slow.viewer.Report().delayP99Ms, 800) << "two before it, and its own time";
}

TEST_F(SharedScreen, WhoTakesNothingHoldsThePaceForAWhileOnly) {
    const struct {
        const char* what;
        uint64_t showMs, holdsMs;
        std::function<void(Seat&)> go;
        size_t viewers, viewersLater, least;
    } rows[] = {{"silent", 1, 4900, [](Seat& seat) { seat.silent = true; }, 2, 1, 90},
                {"speaks but shows nothing", 100000, 28000, [](Seat&) {}, 2, 2, 20},
                {"has left", 1, 0,
                 [this](Seat& seat) {
                     seat.deaf = seat.silent = true;
                     Hear(seat.viewer.Leave());
                 },
                 1, 1, 98}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        seats.clear();
        Start(77);
        const Seat& good = Add();
        Seat& bad = Add(row.showMs);
        Run(1000, 50);
        row.go(bad);
        const size_t before = good.shown.size();
        Run(row.holdsMs, 50);
        EXPECT_LE(good.shown.size(), before + CDesktopPublisher::kAhead + 1);
        EXPECT_EQ(Report().viewers, row.viewers);
        Run(5000, 50);
        EXPECT_GE(good.shown.size(), before + row.least);
        EXPECT_EQ(Report().viewers, row.viewersLater);
    }
}

TEST_F(SharedScreen, AStillScreenIsRepeatedForNewcomersAndEveryThirtySeconds) {
    const Seat& first = Add();
    Offer(1);
    Run(2000);
    for (int i = 0; i < 50; ++i) Offer(1);
    EXPECT_EQ(Report().unchanged, 50U);
    const Seat& second = Add();
    Run(20);
    EXPECT_EQ(second.shown, first.shown) << "one round trip after it came";
    EXPECT_EQ(first.shown.size(), 1U) << "not shown twice";
    const uint64_t repeated = Report().repeated;
    Run(95000);
    EXPECT_EQ(Report().repeated, repeated + 3);
    EXPECT_EQ(first.viewer.Report().asked + second.viewer.Report().asked, 0U) << "nobody lacked anything";
}

TEST_F(SharedScreen, WithoutViewersPicturesAreKeptBack) {
    Run(29000, 100);
    EXPECT_EQ(Report().sent, 1U);
    Run(5000, 100);
    EXPECT_EQ(Report().sent, 2U);
    const Seat& seat = Add();
    Run(1020);
    EXPECT_EQ(seat.shown, std::vector<std::string>{Newest()});
}

TEST_F(SharedScreen, WhatGotLostIsAskedForAgainAndAtOnceByWhoKnowsThatTheWayIsNew) {
    Seat& seat = Add();
    const std::pair<std::function<void()>, uint64_t> rows[] = {
        {[] {}, 1600}, {[&] { seat.viewer.OnNewPath(); }, 600}, {[&] { publisher->OnNewPath(now); }, 600}};
    Run(1000, 100);
    for (const auto& [tell, patience] : rows) {
        seat.deaf = true;  // frames get lost with a relay, not one by one
        Run(500, 100);
        seat.deaf = false;
        tell();
        Run(patience);
        EXPECT_EQ(seat.shown.back(), Newest()) << patience;
    }
    const size_t before = seat.shown.size();
    Start(78);  // a publisher that begins anew
    Run(1000, 100);
    EXPECT_GE(seat.shown.size(), before + 8);
    EXPECT_EQ(seat.shown.back(), Newest());
}

TEST_F(SharedScreen, PointersAreToldWhenTheyMove) {
    Seat& seat = Add();
    Run(100, 100);
    EXPECT_TRUE(pointers.empty());
    for (uint16_t i = 0; i < 100; ++i) {
        seat.viewer.SetPointer(i, 9);
        Run(1);
    }
    Run(50);
    EXPECT_NEAR(static_cast<double>(pointers.size()), 6, 1.1);
    ASSERT_FALSE(pointers.empty());
    EXPECT_EQ(pointers.back().x, 99);
    EXPECT_EQ(pointers.back().viewer, 1U);
}

TEST_F(SharedScreen, LiesFromUpstreamCostLittle) {
    const Seat& seat = Add();
    Run(1000, 50);
    for (int second = 0; second < 20; ++second) {
        Hear(Encode(ViewReport{1, 1, 77, UINT32_MAX, 0, 0}));  // for the first viewer: what was never sent
        Hear(Encode(ViewReport{2, 1, 12345, 7, 8, 9}));        // another run's
        for (uint64_t id = 1000; id < 6000; ++id) Hear(Encode(ViewReport{id, 0, 77, 0, 0, 0}));  // a crowd
        Run(1000, 50);
        EXPECT_LE(Report().viewers, CDesktopPublisher::kMaxViewers);
    }
    EXPECT_LE(Report().repeated, 45U) << "newcomers get no more than two a second";
    for (const ViewerPointer& pointer : pointers) EXPECT_NE(pointer.x, 8) << "it points into another run's picture";
    Run(31000, 50);
    const size_t before = seat.shown.size();
    Run(1000, 50);
    EXPECT_GE(seat.shown.size(), before + 19) << "and are forgotten";
}

TEST(PointerInput, TheLastWholeLineCountsAndWhatIsNoPlaceTakesThePointerAway) {
    using Point = CPointerInput::Point;
    const auto expect = [](const std::string& line, const Point& point) {
        CPointerInput input;
        EXPECT_FALSE(input.Feed(line.data(), line.size())) << line;
        EXPECT_EQ(input.Feed("\n", 1), point) << line;
    };
    expect("12 34", {12, 34});
    expect("  7\t0 \r", {7, 0});
    expect("65534 65534", {65534, 65534});
    expect("1 2" + std::string(1000, ' '), {1, 2});
    for (const std::string& none :
         {"65535 0"s, "-1 5"s, "+1 5"s, "1 2 3"s, "123456 1"s, "1"s, ""s, "off"s, "1 2\0x"s, std::string(1000, '1')})
        expect(none, {ViewReport::kNowhere, ViewReport::kNowhere});
    CPointerInput input;
    EXPECT_EQ(input.Feed("1 2\n3 4\n5", 9), (Point{3, 4}));
    EXPECT_FALSE(input.Feed("", 0));
    EXPECT_EQ(input.Feed(" 6\n", 3), (Point{5, 6}));
}

}  // namespace
