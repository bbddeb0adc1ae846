// What a load test counts.
#include "tools/lumo/load/load.h"
#include "tools/lumo/demo/samples.h"
#include "tools/lumo/demo/sockets.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <netinet/in.h>

#include <csignal>

using namespace lumo;

namespace {

TEST(Load, PercentilesAreExactToASixtyFourth) {
    CHistogram none;
    EXPECT_EQ(none.Percentile(0.5), 0U);
    CHistogram even;
    for (uint32_t value = 1; value <= 100000; ++value) even.Add(value);
    for (const double share : {0.001, 0.5, 0.9, 0.99, 1.0}) {
        const double wanted = share * 100000;
        EXPECT_LE(even.Percentile(share), wanted) << share;
        EXPECT_GE(even.Percentile(share), wanted * 63 / 64) << share;
    }
    even.Add(UINT32_MAX);
    EXPECT_EQ(even.Most(), UINT32_MAX);
    EXPECT_GE(even.Percentile(1), UINT32_MAX / 64 * 63);
}

TEST(Load, EveryFrameCountsOnceForEachSubscriber) {
    CLoadMeter meter(3, 100);
    const auto hear = [&meter](uint32_t subscriber, uint32_t number, uint64_t sentUs, uint64_t cameUs) {
        std::string frame(160, 'x');
        CLoadMeter::Stamp(frame, 3, number, sentUs);
        EXPECT_EQ(CLoadMeter::IsGreeting(frame.substr(3)), number == 0);
        meter.OnFrame(subscriber, frame.data() + 3, static_cast<int>(frame.size()) - 3, cameUs);
    };
    EXPECT_FALSE(CLoadMeter::IsGreeting(std::string(160, '\0')));
    for (const uint32_t subscriber : {0U, 1U}) hear(subscriber, 0, 5, 9);
    EXPECT_EQ(meter.Hearing(), 2U);
    EXPECT_EQ(meter.Arrived(), 0U);
    for (uint32_t number = 1; number <= 100; ++number) hear(0, number, 1000, 3000);
    hear(0, 64, 1000, 9000);  // twice
    hear(0, 101, 1000, 9000);
    hear(1, 100, 4000, 1000);  // no clock goes back, but nothing here relies on it
    for (const std::string& foreign : {std::string("LOAD"), std::string(160, 'x'), std::string()})
        meter.OnFrame(2, foreign.data(), static_cast<int>(foreign.size()), 1);
    EXPECT_EQ(meter.Hearing(), 2U);
    const LoadReport report = meter.Report(100);
    EXPECT_EQ(report.arrived, 101U);
    EXPECT_EQ(report.repeated, 1U);
    EXPECT_EQ(report.unlucky, 2U);
    EXPECT_NEAR(report.p50Ms, 2, 2.0 / 64);
    EXPECT_EQ(report.mostMs, 2);
}

TEST(Load, TheKernelTellsWhatAFullSocketDropped) {
    std::string problem;
    const CFileDescriptor full = OpenSocket(SOCK_DGRAM, {INADDR_LOOPBACK, 0}, problem);
    const Endpoint here = LocalEndpoint(full.Get());
    EXPECT_EQ(DatagramsDropped(here.port), 0U);
    const std::string datagram(1000, 'x');
    for (int i = 0; i < 10000; ++i) SendDatagram(full.Get(), here, datagram.data(), datagram.size());
    EXPECT_GT(DatagramsDropped(here.port), 0U);
}

/// A medium whose frames arrive as they are sent, behind a head of three bytes.
struct FakeMedium {
    /// Publishes or subscribes.
    struct CFake : CLink, ILoadPublisher {
        explicit CFake(CInbox& inbox) : CLink(inbox, LinkTimes()) {}
        ~CFake() override { Close(); }
        bool Create() override { return true; }
        bool IsDisconnected() override {
            ++polls;
            return false;
        }
        void Release() override {}
        CLink& Link() override { return *this; }
        void Send(std::string& frame, bool key) override {
            EXPECT_EQ(frame.find("LOAD"), 3U);
            sent.emplace_back(frame.size(), key);
            for (const uint64_t until = LoadClockUs() + takesUs; LoadClockUs() < until;) {}
            if (sent.size() == interruptAt) raise(SIGINT);
            for (const LoadSink& sink : sinks) sink(frame.data(), static_cast<int>(frame.size()));
        }
    };
    static std::unique_ptr<ILoadPublisher> Publish(const RelayRoute&, CInbox& inbox) {
        return std::make_unique<CFake>(inbox);
    }
    static std::unique_ptr<CLink> Subscribe(const RelayRoute&, CInbox& inbox, LoadSink sink) {
        sinks.push_back(std::move(sink));
        return std::make_unique<CFake>(inbox);
    }
    /// What is measured with two subscribers.
    static nlohmann::json Measure(LoadOptions options, CToolLoop& loop) {
        options.subscribers = 2;
        options.bytes = 40;
        options.rate = 1000;
        const LoadMedium medium{"fake", "", 0, 0, 0, 3, 0, 0, &Publish, &Subscribe};
        CLoad load(medium, options, loop, [](CServerWatch::News, const CServerWatch&) {});
        std::string problem;
        EXPECT_TRUE(load.Connect(problem)) << problem;
        polls = 0;
        sent.clear();  // the greetings
        load.Measure();
        sinks.clear();
        return load.Report();
    }
    static inline size_t polls = 0;
    static inline std::vector<std::pair<size_t, bool>> sent;  // bytes, and whether it was a key frame
    static inline uint64_t takesUs = 0;                       // a frame
    static inline size_t interruptAt = 0;                     // frames; 0: never
    static inline std::vector<LoadSink> sinks;
};

TEST(LoadOfFakes, EveryNthFrameIsAKeyFrameOfItsOwnSize) {
    LoadOptions options;
    options.seconds = 0.01;
    options.keyEvery = 4;
    options.keyBytes = 60;
    CToolLoop loop;
    const nlohmann::json report = FakeMedium::Measure(options, loop);
    std::vector<std::pair<size_t, bool>> frames;
    for (size_t i = 0; i < 10; ++i) frames.emplace_back(i % 4 == 0 ? 60 : 40, i % 4 == 0);
    EXPECT_EQ(FakeMedium::sent, frames);
    EXPECT_EQ(report["arrived"], 20);
    EXPECT_EQ(report["lost"], 0);
    EXPECT_NE(LoadText(report).find("10 frames of 40 bytes, one in 4 of 60, in"), std::string::npos)
        << LoadText(report);
}

TEST(LoadOfFakes, FramesThatTakeLongerThanTheirPeriodHoldUpNeitherLinksNorTheEnd) {
    LoadOptions options;
    options.seconds = 5;
    FakeMedium::takesUs = 2000;
    FakeMedium::interruptAt = 600;
    CToolLoop loop;
    FakeMedium::Measure(options, loop);
    FakeMedium::takesUs = FakeMedium::interruptAt = 0;
    EXPECT_GE(FakeMedium::polls, 3U) << "more than a second, a publisher and two subscribers";
    EXPECT_TRUE(loop.Interrupted());
    EXPECT_LT(FakeMedium::sent.size(), 700U);
}

TEST(Load, ASampleIsPublishedOverAndOverAtItsOwnPaceAndWhatIsNoneIsSaidAloud) {
    const std::string stream(Sample("sample.opus"));
    std::string problem;
    const CLoadSample::Size size = CLoadSample::Measure(stream, 60, problem);
    EXPECT_EQ(size.frames, 3000U) << "longer than it is";
    EXPECT_NEAR(static_cast<double>(size.bytes), static_cast<double>(kAudioHeadLength + stream.size() / 1039), 5);
    std::vector<uint32_t> numbers;
    CLoadSample sample(stream, [&numbers](const std::string& frame) {
        const auto mark = CLoadSample::Read(frame.data(), static_cast<int>(frame.size()));
        ASSERT_TRUE(mark && mark->sentUs == 7);
        if (mark->number != 0) numbers.push_back(mark->number);
    });
    for (uint64_t now = 5000; now < 5000 + 25000; now += 20) {
        EXPECT_EQ(sample.DueMs(now), now);
        sample.Send(now, 7);
        EXPECT_EQ(numbers.size(), numbers.back());
    }
    EXPECT_EQ(numbers.size(), 1250U);
    EXPECT_EQ(CLoadSample::Measure(stream.substr(0, 1000), 10, problem).frames, 0U);
    EXPECT_NE(problem, "");
    std::string greeting(kLoadHeadLength, 'x');
    CLoadMeter::Stamp(greeting, 0, 0, 5);
    EXPECT_FALSE(CLoadSample::Read(greeting.data(), static_cast<int>(greeting.size())));
}

}  // namespace
