// What a load test counts.
#include "tools/lumo/load/load.h"
#include "tools/lumo/demo/sockets.h"

#include <gtest/gtest.h>

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
        EXPECT_EQ(frame.size(), 160U);
        meter.OnFrame(subscriber, frame.data() + 3, static_cast<int>(frame.size()) - 3, cameUs);
    };
    std::string one(160, 'x');
    CLoadMeter::Stamp(one, 0, 0, 5);
    EXPECT_TRUE(CLoadMeter::IsGreeting(one));
    CLoadMeter::Stamp(one, 0, 1, 5);
    EXPECT_FALSE(CLoadMeter::IsGreeting(one) || CLoadMeter::IsGreeting(std::string(160, '\0')));
    hear(0, 0, 5, 9);
    hear(1, 0, 5, 9);
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
    struct Sent {
        size_t bytes;
        bool key;
    };
    static inline size_t polls = 0;
    class CFakeLink : public CLink {
    public:
        explicit CFakeLink(CInbox& inbox) : CLink(inbox, LinkTimes()) {}
        ~CFakeLink() override { Close(); }

    private:
        bool Create() override { return true; }
        bool IsDisconnected() override {
            ++polls;
            return false;
        }
        void Release() override {}
    };
    class CPublisher : public ILoadPublisher {
    public:
        explicit CPublisher(CInbox& inbox) : m_link(inbox) {}
        void Send(std::string& frame, bool key) override {
            EXPECT_EQ(frame.find("LOAD"), 3U);
            sent.push_back({frame.size(), key});
            for (const uint64_t until = LoadClockUs() + takesUs; LoadClockUs() < until;) {}
            if (sent.size() == interruptAt) raise(SIGINT);
            for (const LoadSink& sink : sinks) sink(frame.data(), static_cast<int>(frame.size()));
        }
        CLink& Link() override { return m_link; }

    private:
        CFakeLink m_link;
    };
    static std::unique_ptr<ILoadPublisher> Publish(const RelayRoute&, CInbox& inbox) {
        return std::make_unique<CPublisher>(inbox);
    }
    static std::unique_ptr<CLink> Subscribe(const RelayRoute&, CInbox& inbox, LoadSink sink) {
        sinks.push_back(std::move(sink));
        return std::make_unique<CFakeLink>(inbox);
    }
    static inline std::vector<Sent> sent;
    static inline uint64_t takesUs = 0;    // a frame
    static inline size_t interruptAt = 0;  // frames; 0: never
    static inline std::vector<LoadSink> sinks;
};

class LoadOfFakes : public ::testing::Test {
protected:
    LoadOfFakes() {
        options.subscribers = 2;
        options.bytes = 40;
        options.rate = 1000;
    }
    ~LoadOfFakes() override {
        FakeMedium::takesUs = FakeMedium::interruptAt = 0;
        FakeMedium::sinks.clear();
    }
    nlohmann::json Measure() {
        CLoad load(medium, options, loop);
        std::string problem;
        EXPECT_TRUE(load.Connect(problem)) << problem;
        FakeMedium::polls = 0;
        FakeMedium::sent.clear();  // the greetings
        load.Measure();
        return load.Report();
    }
    const LoadMedium medium{"fake", "", 0, 0, 0, 3, 0, 0, &FakeMedium::Publish, &FakeMedium::Subscribe};
    LoadOptions options;
    CToolLoop loop;
};

TEST_F(LoadOfFakes, EveryNthFrameIsAKeyFrameOfItsOwnSize) {
    options.seconds = 0.01;
    options.keyEvery = 4;
    options.keyBytes = 60;
    const nlohmann::json report = Measure();
    ASSERT_EQ(FakeMedium::sent.size(), 10U);
    for (size_t i = 0; i < 10; ++i) {
        EXPECT_EQ(FakeMedium::sent[i].key, i % 4 == 0) << i;
        EXPECT_EQ(FakeMedium::sent[i].bytes, i % 4 == 0 ? 60U : 40U) << i;
    }
    EXPECT_EQ(report["arrived"], 20);
    EXPECT_EQ(report["lost"], 0);
    EXPECT_NE(LoadText(report).find("10 frames of 40 bytes, one in 4 of 60, in"), std::string::npos)
        << LoadText(report);
}

TEST_F(LoadOfFakes, FramesThatTakeLongerThanTheirPeriodHoldUpNeitherLinksNorTheEnd) {
    options.seconds = 5;
    FakeMedium::takesUs = 2000;
    FakeMedium::interruptAt = 600;
    Measure();
    EXPECT_GE(FakeMedium::polls, 3U) << "more than a second, a publisher and two subscribers";
    EXPECT_TRUE(loop.Interrupted());
    EXPECT_LT(FakeMedium::sent.size(), 700U);
}

std::string SpokenSample() {
    std::string problem;
    std::string stream = CLoadSample::Load(LUMO_SOURCE_DIR "/assets/sample.opus", problem);
    EXPECT_EQ(problem, "");
    return stream;
}

TEST(Load, ASampleIsPublishedOverAndOverAtItsOwnPace) {
    const std::string stream = SpokenSample();
    std::string problem;
    const CLoadSample::Size whole = CLoadSample::Measure(stream, 1039 * 0.02, problem);
    EXPECT_EQ(whole.frames, 1039U);
    EXPECT_EQ(CLoadSample::Measure(stream, 2, problem).frames, 100U);
    EXPECT_EQ(CLoadSample::Measure(stream, 60, problem).frames, 3000U) << "longer than it is";
    EXPECT_EQ(problem, "");
    EXPECT_NEAR(static_cast<double>(whole.bytes), static_cast<double>(kAudioHeadLength + stream.size() / 1039), 5);
    std::vector<uint32_t> numbers;
    CLoadSample sample(stream, [&numbers](const std::string& frame) {
        const auto mark = CLoadSample::Read(frame.data(), static_cast<int>(frame.size()));
        ASSERT_TRUE(mark);
        EXPECT_EQ(mark->sentUs, 7U);
        if (mark->number != 0) numbers.push_back(mark->number);
    });
    for (uint64_t now = 5000; now < 5000 + 25000; now += 20) {
        EXPECT_EQ(sample.DueMs(now), now);
        sample.Send(now, 7);
        EXPECT_EQ(numbers.size(), numbers.back());
    }
    EXPECT_EQ(numbers.size(), 1250U);
}

TEST(Load, WhatIsNoSampleIsSaidAloud) {
    std::string problem;
    EXPECT_EQ(CLoadSample::Measure(SpokenSample().substr(0, 1000), 10, problem).frames, 0U);
    EXPECT_NE(problem, "");
    problem.clear();
    EXPECT_EQ(CLoadSample::Load("/", problem), "");
    EXPECT_NE(problem.find("cannot read /: Is a directory"), std::string::npos) << problem;
    std::string greeting(kLoadHeadLength, 'x');
    CLoadMeter::Stamp(greeting, 0, 0, 5);
    EXPECT_FALSE(CLoadSample::Read(greeting.data(), static_cast<int>(greeting.size())));
}

}  // namespace
