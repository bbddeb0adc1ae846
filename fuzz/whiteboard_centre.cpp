// Whiteboard messages of three sessions into a transfer centre; the first byte of a record says whose it is.
#include "lumomedia/whiteboard.h"
#include "support/records.h"
#include "support/target.h"
#include "whiteboard/wb_message.h"

#include <map>

namespace fuzz::whiteboard_centre {

const std::map<uint32_t, std::string> kNames = {
    {WB_CMD_OBJECT_OFFER, "offer"},
    {WB_CMD_OBJECT_REQUEST, "request"},
    {WB_CMD_OBJECT_DATA, "data"},
    {WB_CMD_OBJECT_DELETE, "delete"},
    {WB_CMD_CLEAR, "clear"},
    {WB_CMD_OBJECT_MOVE, "move"},
    {WB_CMD_OBJECT_LIST, "list"},
    {WB_CMD_STATE, "state"},
    {WB_CMD_EXT_OFFER, "extended offer"},
    {WB_CMD_EXT_REQUEST, "extended request"},
    {WB_CMD_EXT_DATA, "extended data"},
};
std::vector<std::string> Reached() {
    std::vector<std::string> all{"application's", "no message", "moved record"};
    for (const auto& [command, name] : kNames) all.push_back(name);
    return all;
}
void TakeInput(const uint8_t* data, size_t size);
CFuzzTarget g_target("whiteboard_centre", Reached(), TakeInput);

/// Reads every byte of what it is to send, so that a wrong length does not go unseen.
class CFuzzedCentre : public CWBDataTransCenter {
public:
    CFuzzedCentre() {
        for (unsigned long session = 0; session < 3; ++session) SessionJoined(session);
    }
    void SendWBData(unsigned long, const char* data, int len) override {
        last.assign(data, static_cast<size_t>(len));
        if (last.size() < wb::kHeaderLen) return g_target.Hit("no message");
        const auto name = kNames.find(wb::Word(data));
        g_target.Hit(name != kNames.end() ? name->second : "application's");
    }
    void Join(unsigned long session) { SessionJoined(session); }
    /// What a stored record has become.
    std::string Read(uint32_t objectID) {
        last.clear();
        char request[wb::kHeaderLen];
        wb::PutHeader(request, WB_CMD_OBJECT_REQUEST, objectID, 0);
        ProcessWBData(9, request, sizeof request);
        return last;
    }

    std::string last;
};

void TakeInput(const uint8_t* data, size_t size) {
    CFuzzedCentre centre;
    for (const std::string& record : Records(data, size)) {
        if (record.empty()) continue;
        const std::string message = record.substr(1);  // exactly as long as it says
        const std::string before = message.size() >= 24 ? centre.Read(wb::Word(message.data() + 20)) : "";
        centre.ProcessWBData(static_cast<unsigned char>(record[0]) % 3, message.data(),
                             static_cast<int>(message.size()));
        if (before.empty() || wb::Word(message.data()) != WB_CMD_OBJECT_MOVE) continue;
        const std::string after = centre.Read(wb::Word(message.data() + 20));
        if (before.size() != after.size()) __builtin_trap();  // a move changes coordinates and nothing else
        if (before != after) g_target.Hit("moved record");
    }
    centre.Join(3);
}

}  // namespace fuzz::whiteboard_centre
