// The application's place at a board.
#pragma once

#include "lumomedia/whiteboard.h"

#include <string>
#include <utility>
#include <vector>

class CReader : public CWBSession {
public:
    explicit CReader(CWBChannel& board) : CWBSession(&board) { JoinWBChannel(); }
    ~CReader() override { LeaveWBChannel(); }
    void SendWBSessionData(const char* data, int length) override {
        heard.emplace_back(data, static_cast<size_t>(length));
        if (throws) throw std::string("no");
    }
    bool IsDisconnected() override { return false; }
    void Say(const std::string& message) { OnWBSessionData(message.data(), static_cast<int>(message.size())); }
    std::vector<std::string> Heard() { return std::exchange(heard, {}); }

    std::vector<std::string> heard;
    bool throws = false;
};
