-- Messages over TCP: what opens a connection, and its frames.

local F = lumo.F
local SIGNALLING, BOARD = "signalling", "whiteboard"

-- What each connection is for, by its number in the capture, once its validation message has come.
local services = {}
function lumo.forget_services() services = {} end

-- Length and kind of the message that begins there; nothing where none can.
local function head_of(tvb, at)
    if tvb:len() < at + lumo.TCP_HEADER then return nil end
    local length, kind = tvb:range(at, 4):uint(), tvb:range(at + 4, 1):uint()
    if length > lumo.MAX_BODY or kind > 1 then return nil end
    return length, kind
end

-- Whether a connection opens with these bytes.
function lumo.opens_connection(tvb)
    local length, kind = head_of(tvb, 0)
    local least = lumo.TCP_HEADER + lumo.VALIDATION_HEADER
    if kind ~= 1 or length < lumo.VALIDATION_HEADER or tvb:len() < least then return false end
    local at = lumo.TCP_HEADER
    return lumo.SERVICES[tvb:range(at, 4):uint()] ~= nil and
           tvb:range(at + 4, 4):uint() == length - lumo.VALIDATION_HEADER
end

-- A validation message's payload in words: a channel and its sink, a channel and where it is at home, or a user.
local function validated(c, tree, service)
    local length = c:left()
    if length < 4 then return length == 0 and "" or ", " .. length .. " bytes" end
    local who = lumo.SERVICES[service] == SIGNALLING and "user" or "channel"
    local id = c:add(tree, F[who], 4)
    local words = id and string.format(", %s %d", who, id:uint()) or ""
    local sink = length == 8 and c:add(tree, F.sink, 4)
    if sink then words = words .. ", sink " .. string.format("%d", sink:uint()) end
    for i = 1, length >= 16 and 3 or 0 do
        local ip = c:add(tree, F.relay, 4)
        if ip then words = words .. (i == 1 and ", relay " or " or ") .. lumo.address(ip) end
    end
    if c:left() == 0 then return words end
    words = words .. ", " .. c:left() .. " more bytes"
    if c:left() >= 2 then c:add(tree, F.port, 2) end
    if c:left() >= 4 then c:add(tree, F.user, 4) end
    return words
end

local function validation(c, tree, stream)
    local head = c:left() >= lumo.VALIDATION_HEADER and c:take(lumo.VALIDATION_HEADER)
    if not head or head(4, 4):uint() ~= c:left() then
        lumo.complain(tree, "validation")
        return "validation message that makes no sense"
    end
    local service = head(0, 4):uint()
    local item = tree:add(F["validation.type"], head(0, 4))
    tree:add(F["validation.length"], head(4, 4))
    if not lumo.SERVICES[service] then lumo.complain(item, "service") end
    services[stream] = service
    local words = string.format("validation: type %d (%s)", service, lumo.SERVICES[service] or "unknown service")
    return words .. validated(c, tree, service)
end

local function frame(c, tree, stream)
    local length, service = c:left(), services[stream]
    if length == 1 then
        local control = c:add(tree, F["tcp.control"], 1)
        return "control byte " .. (control and control:uint() or "cut")
    end
    local words = string.format("frame of %d bytes", length)
    if length == 0 then return words end
    local whole = lumo.cursor(c.tvb, c.at, c.stop)
    local name, clear = lumo.SERVICES[service], lumo.clear_of_service(service)
    if clear == 3 then lumo.video(c, tree) end
    words = words .. lumo.sealed(c, length, clear, tree)
    if name == BOARD then words = words .. lumo.board(c, tree, true) end
    if name == SIGNALLING then lumo.signalling(c, tree) end
    whole:add(tree, F.frame, whole:captured())
    return words
end

-- One message in words, all of it in `tvb`. `length` is what its header says.
local function message(tvb, tree, stream)
    local length, kind = head_of(tvb, 0)
    local item = tree:add(lumo.proto, tvb:range(0, tvb:len()))
    if not length then
        lumo.complain(item, "tcp")
        return "no message"
    end
    item:add(F["tcp.length"], tvb:range(0, 4))
    item:add(F["tcp.kind"], tvb:range(4, 1))
    if tvb:len() < lumo.TCP_HEADER + length then lumo.complain(item, "cut") end
    local c = lumo.cursor(tvb, lumo.TCP_HEADER, lumo.TCP_HEADER + length)
    return kind == 1 and validation(c, item, stream) or frame(c, item, stream)
end

-- Whether a connection whose opening was not captured may go on with these bytes.
local function may_be_ours(tvb)
    if tvb:len() < lumo.TCP_HEADER then return true end
    local length = head_of(tvb, 0)
    return length ~= nil and length > 0
end

-- The messages of a segment; gives how many bytes it has used, 0 for what is somebody else's.
function lumo.tcp(tvb, pinfo, tree, stream)
    if not services[stream] and not may_be_ours(tvb) then return 0 end
    local said = {}
    local function length_of(whole, _, at)
        local length = head_of(whole, at)
        -- Behind what is no message nothing can be made out.
        return length and lumo.TCP_HEADER + length or whole:len() - at
    end
    local function dissect(part, _, root)
        said[#said + 1] = message(part, root, stream)
        return part:len()
    end
    dissect_tcp_pdus(tvb, tree, lumo.TCP_HEADER, length_of, dissect)
    return tvb:len(), said
end
