// Who is at a board.
#include "board_fixture.h"

#include <gtest/gtest.h>

using namespace lumo;
using namespace board_fixture;
using nlohmann::json;

namespace {

TEST_F(Board, NamesOfOthersAreCleanedCountedAndForgotten) {
    GoOnline();
    const auto people = [&] { return json::parse(m_board.Text())["people"].get<size_t>(); };
    Hear(BoardCommand::Pointer, 3, Word(1) + Word(2));
    Hear(BoardCommand::Hello, 3, "abc");
    Hear(BoardCommand::Hello, 77, Word(0) + "me");
    EXPECT_EQ(people(), 1U) << "no greeting, a cut one, one's own";
    const PageFeedPtr page = Open();
    for (uint32_t id = 1000; id < 2000; ++id)
        Hear(BoardCommand::Hello, id, Word(0) + "\x1b[2J" + std::string(500, 'x'));
    m_board.Tick(m_now);
    EXPECT_LE(Count(Told(page), "\"people\""), 2U) << "not once for each";
    EXPECT_EQ(people(), CPeople::kMaxPeople + 1);
    Hear(BoardCommand::Goodbye, 1000);
    EXPECT_EQ(people(), CPeople::kMaxPeople);
    m_now += CPeople::kForgetMs + 1;
    m_board.Tick(m_now);
    EXPECT_EQ(people(), 1U);
    EXPECT_EQ(CPeople::CleanName("\x1b[2J\xff"), "?[2J?");
    EXPECT_LE(CPeople::CleanName(std::string(500, 'x')).size(), CPeople::kMaxName);
    EXPECT_EQ(CPeople::CleanName(std::string(59, 'x') + "\xc3\xa9"), std::string(59, 'x')) << "no half letters";
    EXPECT_EQ(CPeople::CleanName("  "), "Somebody");
}

TEST_F(Board, GreetsOnceASecondAtMostAndOfTwoWithOneColourOneTakesAnother) {
    GoOnline();
    size_t greetings = 0;
    uint32_t colour = 0;
    const auto run = [&](uint64_t milliseconds) {
        for (uint64_t passed = 0; passed < milliseconds; passed += 50) {
            m_now += 50;
            m_board.Tick(m_now);
            for (const std::string& said : Said(BoardCommand::Hello)) {
                ++greetings;
                colour = WordAt(said, kMessageHead);
            }
        }
    };
    run(CPeople::kHelloMs);
    const uint32_t first = colour;
    ASSERT_NE(first, 0U);
    Hear(BoardCommand::Hello, 78, Word(first) + "Eve");
    run(CPeople::kHelloAtMostEveryMs + CPeople::kAnswerSpreadMs);
    EXPECT_EQ(colour, first) << "it is hers to change";
    Hear(BoardCommand::Hello, 76, Word(first) + "Bob");
    run(CPeople::kHelloAtMostEveryMs + CPeople::kAnswerSpreadMs);
    EXPECT_NE(colour, first);
    greetings = 0;
    for (uint32_t id = 1000; id < 1100; ++id) {
        Hear(BoardCommand::Hello, id, Word(0) + "x");
        run(50);
    }
    EXPECT_NEAR(static_cast<double>(greetings), 5, 1) << "newcomers for five seconds";
}

}  // namespace
