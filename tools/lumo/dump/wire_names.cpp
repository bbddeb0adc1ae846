#include "tools/lumo/dump/wire_names.h"

#include "tools/lumo/board/message.h"

namespace lumo {
namespace {

const char* OwnBoardCommand(BoardCommand command) {
    if (command == BoardCommand::Hello) return "hello";
    if (command == BoardCommand::Pointer) return "pointer";
    return command == BoardCommand::Goodbye ? "goodbye" : nullptr;
}

}  // namespace

const char* FieldName(wire::Field field) {
    switch (field) {
        case wire::Field::None:
            break;
        case wire::Field::ReceiverID:
            return "receiver";
        case wire::Field::SinkID:
            return "sink";
        case wire::Field::ChannelID:
            return "channel";
        case wire::Field::SenderKey:
            return "sender";
        case wire::Field::SourceID:
            return "source";
        case wire::Field::UserID:
            return "user";
        case wire::Field::RelayIP0:
            return "relay";
        case wire::Field::RelayIP1:
        case wire::Field::RelayIP2:
            return "or";
        case wire::Field::RelayPort:
            return "port";
        case wire::Field::StartParam:
            return "started";
        case wire::Field::ClientSessionID:
            return "client-session";
        case wire::Field::ServerSessionID:
            return "server-session";
        case wire::Field::Unused:
            return "unused";
    }
    return "";
}

bool IsAddress(wire::Field field) {
    return field == wire::Field::RelayIP0 || field == wire::Field::RelayIP1 || field == wire::Field::RelayIP2;
}

const char* ServiceName(uint32_t type) {
    switch (static_cast<wire::TcpType>(type)) {
        case wire::TcpType::AudioSender:
            return "audio sender";
        case wire::TcpType::AudioReceiver:
            return "audio receiver";
        case wire::TcpType::VideoSender:
            return "video sender";
        case wire::TcpType::VideoReceiver:
            return "video receiver";
        case wire::TcpType::Whiteboard:
            return "whiteboard";
        case wire::TcpType::DesktopSender:
            return "desktop sender";
        case wire::TcpType::DesktopReceiver:
            return "desktop receiver";
        case wire::TcpType::FileSender:
            return "file sender";
        case wire::TcpType::FileReceiver:
            return "file receiver";
        case wire::TcpType::Signalling:
            return "signalling";
    }
    return nullptr;
}

const char* BoardCommandName(uint32_t command) {
    if (command > WB_CMD_EXT_DATA) return OwnBoardCommand(static_cast<BoardCommand>(command));
    switch (static_cast<WBCommand>(command)) {
        case WB_CMD_OBJECT_OFFER:
            return "WB_CMD_OBJECT_OFFER";
        case WB_CMD_OBJECT_REQUEST:
            return "WB_CMD_OBJECT_REQUEST";
        case WB_CMD_OBJECT_DATA:
            return "WB_CMD_OBJECT_DATA";
        case WB_CMD_OBJECT_DELETE:
            return "WB_CMD_OBJECT_DELETE";
        case WB_CMD_CLEAR:
            return "WB_CMD_CLEAR";
        case WB_CMD_OBJECT_MOVE:
            return "WB_CMD_OBJECT_MOVE";
        case WB_CMD_REPLACE_ALL:
            return "WB_CMD_REPLACE_ALL";
        case WB_CMD_OBJECT_LIST:
            return "WB_CMD_OBJECT_LIST";
        case WB_CMD_STATE:
            return "WB_CMD_STATE";
        case WB_CMD_EXT_OFFER:
            return "WB_CMD_EXT_OFFER";
        case WB_CMD_EXT_REQUEST:
            return "WB_CMD_EXT_REQUEST";
        case WB_CMD_EXT_DATA:
            return "WB_CMD_EXT_DATA";
        case WB_CMD_HOME_ASK:
            return "WB_CMD_HOME_ASK";
        case WB_CMD_HOME_ANSWER:
            return "WB_CMD_HOME_ANSWER";
        case WB_CMD_POINTER:
            break;  // named above
    }
    return nullptr;
}

}  // namespace lumo
