// What pages may post.
#include "tools/lumo/board/board_events.h"

#include <gtest/gtest.h>

using namespace lumo;

namespace {

TEST(BoardActions, EveryKindIsTaken) {
    for (
        const std::string whole : {
            R"([{"do":"add","objects":[{"type":"pen","colour":"#0a0b0c","width":1,"box":[0,0,5,6],"points":[0,0,5,6]}]}])",
            R"([{"do":"add","objects":[{"type":"text","colour":"#0a0b0c","width":288,"box":[0,0,5,6],"text":"<é>"}]}])",
            R"([{"do":"replace","id":1,"object":{"type":"line","colour":"#0a0b0c","width":1,"box":[0,0,5,6]}}])",
            R"([{"do":"move","ids":[1,4294967295],"dx":-2147483648,"dy":2147483647}])",
            R"([{"do":"delete","ids":[1]},{"do":"undo"},{"do":"redo"},{"do":"clear"},{"do":"pointer gone"}])",
            R"([{"do":"pointer","x":1,"y":-1},{"do":"name","name":"Ada"}])",
        }) {
        std::vector<BoardAction> actions;
        EXPECT_TRUE(ParseActions(whole, actions) && !actions.empty()) << whole;
        EXPECT_FALSE(ParseActions(whole.substr(0, whole.size() - 1), actions) || !actions.empty()) << whole;
    }
}

TEST(BoardActions, WhatIsNotAsItMustBeIsRefused) {
    const std::string add = R"([{"do":"add","objects":[)";
    const std::string rows[] = {
        "{}",
        "7",
        R"([7])",
        R"([{"do":"fly"}])",
        R"([{"do":["undo"]}])",
        R"([{"do":"move","ids":[1],"dx":2147483648,"dy":0}])",
        R"([{"do":"move","ids":[1],"dx":0.5,"dy":0}])",
        R"([{"do":"replace","id":-1,"object":{"type":"line","colour":"#0a0b0c","width":1,"box":[0,0,5,6]}}])",
        R"([{"do":"replace","id":1,"object":[]}])",
        R"([{"do":"delete","ids":[-1]}])",
        R"([{"do":"delete","ids":[]}])",
        R"([{"do":"delete","ids":[18446744073709551615]}])",
        R"([{"do":"name","name":5}])",
        R"([{"do":"add","objects":[]}])",
        add + R"({"type":"picture","colour":"#000000","width":1,"box":[0,0,1,1]}]}])",
        add + R"({"type":"pen","colour":"#000000","width":1,"box":[0,0,1,1],"points":[1,2,3]}]}])",
        add + R"({"type":"pen","colour":"#000000","width":1,"box":[0,0,1,1],"points":[1,"2"]}]}])",
        add + R"({"type":"line","colour":"red","width":1,"box":[0,0,1,1]}]}])",
        add + R"({"type":"line","colour":"#00000g","width":1,"box":[0,0,1,1]}]}])",
        add + R"({"type":"line","colour":"#000000","width":5000,"box":[0,0,1,1]}]}])",
        add + R"({"type":"line","colour":"#000000","width":1,"box":[0,0,1]}]}])",
        add + R"({"type":"text","colour":"#000000","width":1,"box":[0,0,1,1],"text":")" +
            std::string(kMaxText + 1, 'x') + R"("}]}])",
        std::string(100000, '['),
        std::string(kMaxPosted + 1, ' ') + "[]",
    };
    std::vector<BoardAction> actions;
    for (const std::string& row : rows) EXPECT_FALSE(ParseActions(row, actions)) << row.substr(0, 200);
    Box box;
    EXPECT_TRUE(ParseBox("-1,2,3,-2147483648", box));
    EXPECT_EQ(box.bottom, INT32_MIN);
    for (const char* text : {"", "1,2,3", "1,2,3,4,", "1,2,3,4x", "1,,3,4", "1,2,3,99999999999"})
        EXPECT_FALSE(ParseBox(text, box)) << text;
}

}  // namespace
