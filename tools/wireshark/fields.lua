-- What is shown: the protocol, its fields, and what it complains of.

lumo.proto = Proto("lumo", "lumomedia")
local F, E = {}, {}  -- fields and complaints by their names without "lumo." and "lumo.expert."

local function define(make, name, label, ...)
    F[name] = make("lumo." .. name, label, ...)
end

-- The fields of the command table.
for _, one in ipairs(lumo.FIELDS) do
    if not F[one.filter] then
        local make = one.address and ProtoField.ipv4 or one.length == 2 and ProtoField.uint16 or ProtoField.uint32
        define(make, one.filter, (one.filter:gsub("^%l", string.upper):gsub("_", " ")))
    end
    one.field = F[one.filter]
end
local commands = {}
for _, row in ipairs(lumo.COMMANDS) do commands[row.code] = row.name end

define(ProtoField.uint8, "kind", "Kind", base.DEC, lumo.KINDS)
define(ProtoField.uint8, "command", "Command", base.HEX, commands)
define(ProtoField.ipv4, "seen.ip", "Address as the reflector sees it")
define(ProtoField.uint16, "seen.port", "Port as the reflector sees it")
define(ProtoField.bytes, "frame", "Frame")

define(ProtoField.uint16, "session.seq", "Sequence")
define(ProtoField.uint8, "session.version", "Version", base.DEC, nil, 0xC0)
define(ProtoField.bool, "session.all", "Acknowledges all before, too", 8, nil, 0x20)
define(ProtoField.uint8, "session.command", "Session command", base.DEC,
       {[lumo.DATA] = "data", [lumo.ACK] = "ack"}, 0x1F)
define(ProtoField.uint8, "session.window", "Window", base.DEC, nil, 0xF8)
define(ProtoField.bool, "session.begin", "A frame begins", 8, nil, 0x04)
define(ProtoField.bool, "session.end", "The frame ends", 8, nil, 0x02)
define(ProtoField.bool, "session.key", "Key", 8, nil, 0x01)

define(ProtoField.uint32, "wide.offer", "Offer of a wide session, token", base.HEX)
define(ProtoField.uint32, "wide.answer", "Answer of a wide session", base.HEX)
define(ProtoField.uint32, "wide.number", "Number of the packet")
define(ProtoField.uint32, "wide.transmission", "Transmission")
define(ProtoField.uint32, "wide.token", "Form of the token", base.HEX)
define(ProtoField.uint32, "wide.delivered", "Last delivered number")
define(ProtoField.uint32, "wide.waited", "Microseconds that it waited")
define(ProtoField.uint16, "wide.room", "Room in packets")
define(ProtoField.uint8, "wide.given_back", "Times that held packets were given back")
define(ProtoField.uint8, "wide.ranges", "Ranges")
define(ProtoField.uint32, "wide.range.first", "Range from")
define(ProtoField.uint32, "wide.range.last", "Range to")

define(ProtoField.uint64, "sealed.key_id", "Key ID", base.HEX)
define(ProtoField.absolute_time, "sealed.start", "Start of the sealer, to the minute", base.UTC)
define(ProtoField.uint64, "sealed.counter", "Counter")

define(ProtoField.uint8, "video.key", "Key frame", base.DEC)
define(ProtoField.uint16, "video.number", "Number of the frame")

define(ProtoField.uint32, "board.command", "Board command", base.DEC, lumo.BOARD)
define(ProtoField.uint32, "board.object", "Object")
define(ProtoField.uint32, "board.tag", "Tag")
define(ProtoField.uint32, "board.id", "Object named")
define(ProtoField.int32, "board.dx", "To the right")
define(ProtoField.int32, "board.dy", "Down")
define(ProtoField.uint8, "board.state", "State")
define(ProtoField.uint32, "board.type", "Type of the record")
define(ProtoField.int32, "board.left", "Left")
define(ProtoField.int32, "board.top", "Top")
define(ProtoField.int32, "board.right", "Right")
define(ProtoField.int32, "board.bottom", "Bottom")
define(ProtoField.bytes, "board.record", "Record")

define(ProtoField.uint32, "tcp.length", "Length of the body")
define(ProtoField.uint8, "tcp.kind", "Kind of the message", base.DEC, {[0] = "frame", [1] = "validation"})
define(ProtoField.uint8, "tcp.control", "Control byte")
define(ProtoField.uint32, "validation.type", "Type", base.DEC, lumo.SERVICES)
define(ProtoField.uint32, "validation.length", "Length of the payload")

define(ProtoField.uint8, "packet.version", "Version of the command packet")
define(ProtoField.uint16, "packet.count", "Attributes")
define(ProtoField.string, "packet.attribute", "Attribute")

local function complaint(name, text, group, severity)
    E[name] = ProtoExpert.new("lumo.expert." .. name, text, group or expert.group.MALFORMED,
                              severity or expert.severity.ERROR)
end

complaint("kind", "A kind that nobody knows: ignored")
complaint("command", "A command that this kind does not have: dropped")
complaint("length", "Not a length of this command: dropped")
complaint("session_short", "Too short for a session packet: ignored")
complaint("session_version", "A version of the session that nobody knows: dropped")
complaint("session_command", "A session command that nobody knows: ignored")
complaint("wide_ack", "The acknowledgement of a wide session does not fit its length, or names what cannot be: ignored")
complaint("wide_token", "A head of a token that was not offered here", expert.group.PROTOCOL, expert.severity.NOTE)
complaint("sealed", "Begins like a sealed frame and is none", expert.group.PROTOCOL, expert.severity.WARN)
complaint("board_short", "Too short for a whiteboard message: ignored")
complaint("board_ids", "The last word of the list is cut short: not read", expert.group.PROTOCOL, expert.severity.NOTE)
complaint("board_payload", "Too short for this command: ignored")
complaint("board_record", "Too short for the rectangle of its type: it cannot be moved", expert.group.PROTOCOL,
          expert.severity.NOTE)
complaint("tcp", "A kind or a length that no message has: closes the connection")
complaint("validation", "A validation message whose length is not what it says: closes the connection")
complaint("service", "A validation type that nobody knows: closes the connection")
complaint("packet", "A command packet that ends early, goes on behind its end, or has a type or version that nobody "
          .. "knows: dropped")
complaint("cut", "Cut by the capture", expert.group.UNDECODED, expert.severity.NOTE)

local function values(of)
    local list = {}
    for _, value in pairs(of) do list[#list + 1] = value end
    return list
end
lumo.proto.fields = values(F)
lumo.proto.experts = values(E)
lumo.F = F

-- Marks an item of the tree.
function lumo.complain(item, name, text)
    if text then
        item:add_proto_expert_info(E[name], text)
    else
        item:add_proto_expert_info(E[name])
    end
end
