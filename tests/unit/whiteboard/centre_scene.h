// A transfer centre that keeps what it sends.
#pragma once

#include "lumomedia/whiteboard.h"
#include "support/wb_words.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

/// Sessions 1, 2 and 3 have joined.
class CProbeCentre : public CWBDataTransCenter {
public:
    using Sent = std::vector<std::pair<unsigned long, std::string>>;

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
        Say(9, wb_words::Message(wb_words::kRequest, objectID));
        const Sent answer = TakeSent();
        return answer.size() == 1 ? answer[0].second.substr(12) : "none";
    }
    using CWBDataTransCenter::SessionJoined;
    using CWBDataTransCenter::SessionLeft;

    Sent sent;
};
