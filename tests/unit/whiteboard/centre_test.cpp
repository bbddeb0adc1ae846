// What the transfer centre does with each message, and what it does with none.
#include "lumomedia/whiteboard.h"
#include "support/log_capture.h"
#include "support/wb_words.h"
#include "whiteboard/wb_objects.h"

#include <gtest/gtest.h>

#include <climits>
#include <optional>
#include <utility>

using namespace wb_words;

namespace {

using Sent = std::vector<std::pair<unsigned long, std::string>>;

/// Keeps what it sends. Sessions 1, 2 and 3 have joined.
class CProbeCentre : public CWBDataTransCenter {
public:
    CProbeCentre() {
        for (unsigned long session : {1UL, 2UL, 3UL}) SessionJoined(session);
    }
    void SendWBData(unsigned long session, const char* data, int length) override {
        sent.emplace_back(session, std::string(data, static_cast<size_t>(length)));
    }
    void Say(unsigned long session, const std::string& message) {
        ProcessWBData(session, message.data(), static_cast<int>(message.size()));
    }
    Sent TakeSent() { return std::exchange(sent, {}); }
    /// The record as a request gets it, or "none".
    std::string Record(uint32_t objectID) {
        TakeSent();
        Say(9, Message(kRequest, objectID));
        const Sent answer = TakeSent();
        return answer.size() == 1 ? answer[0].second.substr(12) : "none";
    }
    using CWBDataTransCenter::SessionJoined;
    using CWBDataTransCenter::SessionLeft;

    Sent sent;
};

constexpr unsigned long kSender = 2;

/// Object 7 (tag 70, record "seven") is held.
class Centre : public testing::Test {
protected:
    Centre() {
        centre.Say(1, Message(kData, 7, 70, "seven"));
        centre.TakeSent();
    }
    static Sent ToOthers(const std::string& message) { return {{1, message}, {3, message}}; }
    CProbeCentre centre;
};

TEST_F(Centre, DoesWithEachCommandWhatTheTableSays) {
    const std::string record = "new", six = Words({7}) + "ab";
    const Sent nothing, offered = ToOthers(Message(kOffer, 8, 80)), extOffered = ToOthers(Message(kExtOffer, 8, 80));
    const Sent listed = {{2, Message(kRequest, kList)}, {2, Message(kRequest)}, {2, Message(kRequest)}};
    const auto asItCame = std::nullopt;
    struct Row {
        const char* what;
        std::string message;       // from session 2
        std::optional<Sent> sent;  // none: the message, to the others
        std::string seven, eight;  // the records held afterwards
    };
    const std::vector<Row> rows = {
        {"an offer of what is held", Message(kOffer, 7, 71), nothing, "seven", "none"},
        {"an offer", Message(kOffer, 8, 80), Sent{{2, Message(kRequest, 8, 80)}}, "seven", "none"},
        {"the second family's", Message(kExtOffer, 8, 80), Sent{{2, Message(kExtRequest, 8, 80)}}, "seven", "none"},
        {"a request", Message(kRequest, 7, 5), Sent{{2, Message(kData, 7, 70, "seven")}}, "seven", "none"},
        {"the second family's", Message(kExtRequest, 7), Sent{{2, Message(kExtData, 7, 70, "seven")}}, "seven", "none"},
        {"a request in vain", Message(kRequest, 8), nothing, "seven", "none"},
        {"data", Message(kData, 8, 80, record), offered, "seven", record},
        {"the second family's", Message(kExtData, 8, 80, record), extOffered, "seven", record},
        {"an empty record", Message(kData, 8), ToOthers(Message(kOffer, 8)), "seven", ""},
        {"data of what is held", Message(kData, 7, 1, record), nothing, "seven", "none"},
        {"a delete", Message(kDelete, 0, 0, Words({9, 7})), asItCame, "none", "none"},
        {"a ragged delete", Message(kDelete, 1, 2, six), asItCame, "none", "none"},
        {"a delete of 3 bytes", Message(kDelete, 0, 0, "\7\0\0"), asItCame, "seven", "none"},
        {"a clear", Message(kClear, 1, 2, "x"), asItCame, "none", "none"},
        {"a move without an object", Message(kMove, 0, 0, Words({1, 2})), asItCame, "seven", "none"},
        {"a replacement", Message(kReplaceAll, 8, 80, record), ToOthers(record), "none", record},
        {"a list", Words({kList, 0, 0, 7}), listed, "seven", "none"},
        {"a state", Message(kState, 3, 4, "\1"), asItCame, "seven", "none"},
        {"an application's", Message(6, 7, 1, "x"), asItCame, "seven", "none"},
        {"another's", Message(0xffffffff), asItCame, "seven", "none"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        CProbeCentre fresh;
        fresh.Say(1, Message(kData, 7, 70, "seven"));
        fresh.TakeSent();
        fresh.Say(kSender, row.message);
        EXPECT_EQ(fresh.TakeSent(), row.sent.value_or(ToOthers(row.message)));
        EXPECT_EQ(fresh.Record(7), row.seven);
        EXPECT_EQ(fresh.Record(8), row.eight);
    }
}

TEST_F(Centre, TellsWhoJoinsWhatThereIs) {
    CProbeCentre empty;
    EXPECT_TRUE(empty.TakeSent().empty());
    centre.Say(1, Message(kData, 0x80000001, 0, "b"));
    centre.Say(1, Message(kData, 3, 0, "a"));
    centre.Say(1, Message(kState, 0, 0, "\2"));
    centre.TakeSent();
    centre.SessionJoined(4);
    const Sent expected = {{4, Message(kList, 0, 0, Words({3, 7, 0x80000001}))}, {4, Message(kState, 0, 0, "\1")}};
    EXPECT_EQ(centre.TakeSent(), expected);
    centre.SessionJoined(4);  // again: told again, but in the list once
    centre.TakeSent();
    centre.Say(1, Message(6));
    EXPECT_EQ(centre.TakeSent().size(), 3U);
    centre.SessionLeft(4);
    for (const std::string& none : {std::string(), std::string(1, '\0')}) {
        centre.Say(1, Message(kState, 0, 0, none));
        centre.TakeSent();
        centre.SessionJoined(4);
        EXPECT_EQ(centre.TakeSent().size(), 1U) << "no state";
    }
}

TEST_F(Centre, MovesWhatLiesWithinTheRecord) {
    const auto rectangle = [](uint32_t dx, uint32_t dy) { return Words({10 + dx, 20 + dy, 30 + dx, 40 + dy}); };
    constexpr uint32_t left = static_cast<uint32_t>(-5), down = 10;
    struct Row {
        const char* what;
        std::string before, after;
    };
    const auto padded = [](uint32_t type, size_t offset) { return Words({type}) + std::string(offset - 4, 'p'); };
    const auto points = [&](uint32_t type, uint32_t count, uint32_t dx, uint32_t dy, const std::string& at) {
        return padded(type, 20) + rectangle(dx, dy) + Words({count}) + at;
    };
    const std::string still = Words({1, 2, 3, 4, 5, 6}),
                      moved = Words({1 + left, 2 + down, 3 + left, 4 + down, 5 + left, 6 + down});
    const std::vector<Row> rows = {
        {"points", points(1, 3, 0, 0, still), points(1, 3, left, down, moved)},
        {"fewer than there are", points(2, 1, 0, 0, still),
         points(2, 1, left, down, moved.substr(0, 8) + still.substr(8))},
        {"a million in forty bytes", points(1, 1000000, 0, 0, ""), points(1, 1000000, left, down, "")},
        {"a million in three", points(2, 1000000, 0, 0, still + "x"), points(2, 1000000, left, down, moved + "x")},
        {"a negative count", points(2, 0x80000000, 0, 0, still), points(2, 0x80000000, left, down, still)},
        {"minus one", points(1, 0xffffffff, 0, 0, still), points(1, 0xffffffff, left, down, still)},
        {"no room for a count", padded(1, 20) + rectangle(0, 0) + "xyz", padded(1, 20) + rectangle(left, down) + "xyz"},
        {"a rectangle only", points(3, 3, 0, 0, still), points(3, 3, left, down, still)},
        {"the last of them", padded(7, 20) + rectangle(0, 0), padded(7, 20) + rectangle(left, down)},
        {"text", padded(8, 16) + rectangle(0, 0) + still, padded(8, 16) + rectangle(left, down) + still},
        {"a picture", padded(9, 12) + rectangle(0, 0) + still, padded(9, 12) + rectangle(left, down) + still},
        {"a cut rectangle", padded(9, 12) + Words({1, 2, 3}) + "xyz", padded(9, 12) + Words({1, 2, 3}) + "xyz"},
        {"an unknown type", padded(10, 80), padded(10, 80)},
        {"type 0", padded(0, 80), padded(0, 80)},
        {"wrapping", padded(8, 16) + Words({0x80000002, 0x7ffffff8, 4, 0xfffffffe}),
         padded(8, 16) + Words({0x7ffffffd, 0x80000002, 0xffffffff, 8})},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        CProbeCentre fresh;
        fresh.Say(1, Message(kData, 5, 0, row.before));
        fresh.Say(1, Message(kMove, 0, 0, Words({left, down, 77, 5}) + "abc"));
        EXPECT_EQ(fresh.Record(5), row.after);
        fresh.Say(1, Message(kMove, 0, 0, Words({static_cast<uint32_t>(-static_cast<int32_t>(left)), 0, 5})));
        fresh.Say(1, Message(kMove, 0, 0, Words({0, static_cast<uint32_t>(-5), 5, 5})));  // named twice, moved twice
        EXPECT_EQ(fresh.Record(5), row.before);
    }
    for (size_t length = 0; length <= 48; ++length) {  // every truncation of a record keeps its length
        CProbeCentre fresh;
        fresh.Say(1, Message(kData, 5, 0, points(2, 9, 0, 0, still).substr(0, length)));
        fresh.Say(1, Message(kMove, 0, 0, Words({1, 1, 5})));
        EXPECT_EQ(fresh.Record(5).size(), length);
    }
}

TEST_F(Centre, IgnoresWhatIsNoMessage) {
    centre.ProcessWBData(1, nullptr, 40);
    centre.ProcessWBData(1, "twelve bytes", -1);
    centre.ProcessWBData(1, "twelve bytes", INT_MIN);
    for (uint32_t command = 0; command < 26; ++command)
        for (int length = 0; length < 12; ++length) {
            const std::string message = Message(command, 7).substr(0, static_cast<size_t>(length));
            centre.ProcessWBData(1, message.data(), length);
        }
    EXPECT_TRUE(centre.TakeSent().empty());
    EXPECT_EQ(centre.Record(7), "seven");
}

TEST_F(Centre, HoldsNothingForWhoOnlyOffers) {
    for (uint32_t id = 0; id < 1000000; ++id) {
        centre.Say(1, Message(kOffer, 1000 + id));
        ASSERT_EQ(centre.sent.size(), 1U);  // asked for, and forgotten
        centre.sent.clear();
    }
    centre.SessionJoined(4);
    EXPECT_EQ(centre.TakeSent(), (Sent{{4, Message(kList, 0, 0, Words({7}))}}));
    std::string list = Message(kList);
    for (uint32_t id = 0; id < 1000000; ++id) list += Words({1000 + id});
    centre.Say(1, list);
    EXPECT_EQ(centre.TakeSent().size(), CWBObjects::kMaxObjects + 3) << "no more than could be kept";
}

TEST_F(Centre, KeepsSoManyObjectsAndSaysOnceThatItIsFull) {
    CLogCapture log;
    for (uint32_t id = 1; id < CWBObjects::kMaxObjects; ++id) centre.Say(1, Message(kData, 100 + id));
    EXPECT_EQ(centre.TakeSent().size(), 2 * (CWBObjects::kMaxObjects - 1));
    EXPECT_TRUE(log.Lines().empty());
    for (uint32_t id : {1U, 2U}) centre.Say(1, Message(kData, 0x40000000 + id));
    EXPECT_TRUE(centre.TakeSent().empty());
    EXPECT_EQ(log.Lines().size(), 1U);
    centre.Say(1, Message(kDelete, 0, 0, Words({101})));
    centre.TakeSent();
    centre.Say(1, Message(kData, 101));
    EXPECT_EQ(centre.TakeSent().size(), 2U) << "there is room again";
}

TEST_F(Centre, KeepsSoManyBytes) {
    constexpr size_t longest = 64 * 1024 * 1024 - 12;
    const std::string record(longest, 'x');
    centre.Say(1, Message(kClear));
    centre.TakeSent();
    CLogCapture log;
    centre.Say(1, Message(kData, 1, 0, record + "x"));
    EXPECT_TRUE(centre.TakeSent().empty()) << "one byte too long";
    EXPECT_EQ(log.Lines().size(), 1U);
    for (uint32_t id = 1; id <= 4; ++id) centre.Say(1, Message(kData, id, 0, record));
    centre.TakeSent();
    centre.Say(1, Message(kData, 5, 0, std::string(CWBObjects::kMaxRecordBytes - 4 * longest + 1, 'x')));
    EXPECT_TRUE(centre.TakeSent().empty());
    centre.Say(1, Message(kData, 5, 0, std::string(CWBObjects::kMaxRecordBytes - 4 * longest, 'x')));
    EXPECT_EQ(centre.TakeSent(), (Sent{{2, Message(kOffer, 5)}, {3, Message(kOffer, 5)}}));
}

}  // namespace
