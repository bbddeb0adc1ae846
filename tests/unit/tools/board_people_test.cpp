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
    std::vector<uint32_t> objects;
    const PageFeedPtr page = m_board.OpenPage(objects);
    for (uint32_t id = 1000; id < 2000; ++id)
        Hear(BoardCommand::Hello, id, Word(0) + "\x1b[2J" + std::string(500, 'x'));
    m_board.Tick(m_now);
    size_t told = 0;
    for (EventText event; page->Wait(std::chrono::milliseconds(0), event) && event;)
        told += event->find("\"people\"") != std::string::npos ? 1 : 0;
    EXPECT_LE(told, 2U) << "not once for each";
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

TEST_F(Board, OfTwoWithOneColourOneTakesAnother) {
    GoOnline();
    const auto hello = [&] {
        const auto said = Said(BoardCommand::Hello);
        return said.empty() ? 0 : WordAt(said.back(), kMessageHead);
    };
    m_now += CPeople::kHelloMs;
    m_board.Tick(m_now);
    const uint32_t colour = hello();
    ASSERT_NE(colour, 0U);
    Hear(BoardCommand::Hello, 78, Word(colour) + "Eve");
    m_board.Tick(m_now);
    EXPECT_EQ(hello(), colour) << "it is hers to change";
    Hear(BoardCommand::Hello, 76, Word(colour) + "Bob");
    m_board.Tick(m_now);
    EXPECT_NE(hello(), colour);
}

}  // namespace
