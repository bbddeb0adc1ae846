#include "tools/lumo/dump/board_text.h"

#include "tools/lumo/board/message.h"
#include "tools/lumo/dump/wire_names.h"

namespace lumo {

std::string DescribeBoardMessage(const uint8_t* data, size_t length) {
    BoardMessage message;
    if (!ParseMessage({reinterpret_cast<const char*>(data), length}, message)) return "";
    const auto command = static_cast<uint32_t>(message.command);
    const char* name = BoardCommandName(command);
    return ", " + (name ? std::string(name) : "whiteboard command " + std::to_string(command)) + " object " +
           std::to_string(message.object) + " tag " + std::to_string(message.tag);
}

}  // namespace lumo
