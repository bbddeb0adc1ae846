-- What frames hold, as far as it shows: who sealed one, the head of a video, what a whiteboard or the signalling says.

local F = lumo.F
local TAG = 16                -- bytes behind what is sealed
local KEY_ID = 8              -- a sealed frame's key ID has no other length
local MOST_IDS = 1000         -- of a list, shown
local MINUTES = 2147483648    -- of a key ID's upper half, without its top bit

-- The clear bytes before what may be sealed, by kind of the datagram and by type of the validation message. A
-- connection whose validation was not captured carries anything but videos, whose sealed frames begin like plain ones.
local CLEAR_OF_KIND = {UDP_AUDIO = 0, UDP_VIDEO = 3, UDP_DESKTOP = 0, UDP_FILE = 0}
function lumo.clear_of_kind(kind) return CLEAR_OF_KIND[lumo.KINDS[kind]] end
function lumo.clear_of_service(service)
    local name = lumo.SERVICES[service]
    if name == "whiteboard" or name == "signalling" then return nil end
    return name and name:find("^video") and 3 or 0
end

-- Who sealed the frame that begins at the cursor, in words. `length` is how much of it this packet has.
function lumo.sealed(c, length, clear, tree)
    local first = clear and length > clear and c:byte(clear)
    if not first or first < 0xF0 then return "" end
    local low = first % 16
    local more = low >= 8 and low - 7 or 0  -- bytes of the counter
    local whole = clear + 1 + KEY_ID + more
    if whole > c:captured() and c:captured() < c:left() then return "" end
    local highest = more > 0 and c:byte(clear + 1 + KEY_ID)
    local shortest = more == 0 or (more == 1 and (highest or 0) > 7) or (more > 1 and highest ~= 0)
    if length < whole + TAG or c:byte(clear + 1) < 0x80 or not shortest then
        lumo.complain(tree, "sealed")
        return ""
    end
    local head = c.tvb:range(c.at + clear, whole - clear)
    local branch = tree:add(head, "Sealed frame")
    branch:add(F["sealed.key_id"], head(1, KEY_ID))
    branch:add(F["sealed.start"], head(1, 4), NSTime.new(head(1, 4):uint() % MINUTES * 60, 0))
    local counter = more > 0 and head(1 + KEY_ID, more):uint64() or UInt64(low)
    branch:add(F["sealed.counter"], more > 0 and head(1 + KEY_ID, more) or head(0, 1), counter)
    return string.format(", sealed: key ID %s, counter %s", head(1, KEY_ID):bytes():tohex(true), tostring(counter))
end

-- The head of a video's frame.
function lumo.video(c, tree)
    if c:captured() < 4 then return end
    tree:add(F["video.key"], c.tvb:range(c.at, 1))
    tree:add(F["video.number"], c.tvb:range(c.at + 1, 2))
end

local function ids(c, tree)
    local item = c:branch(tree, "Objects")
    for _ = 1, MOST_IDS do
        if not c:add_le(item, F["board.id"], 4) then break end
    end
    if c:left() % 4 ~= 0 then lumo.complain(item, "board_ids") end
end

-- Where each type of a record has its rectangle.
local RECTANGLE = {[1] = 20, [2] = 20, [3] = 20, [4] = 20, [5] = 20, [6] = 20, [7] = 20, [8] = 16, [9] = 12}

local function record(c, tree)
    local item = c:branch(tree, "Record")
    local from, stop = c.at, c.stop
    local kind = c:add_le(item, F["board.type"], 4)
    local at = kind and RECTANGLE[kind:le_uint()]
    if at and stop - from < at + 16 then lumo.complain(item, "board_record") end
    local rectangle = at and lumo.cursor(c.tvb, from + at, stop)
    for _, side in ipairs(at and {"left", "top", "right", "bottom"} or {}) do
        rectangle:add_le(item, F["board." .. side], 4)
    end
    c.at = from
    c:add(item, F["board.record"], c:captured())
end

local function move(c, tree)
    if c:left() < 8 then return lumo.complain(tree, "board_payload") end
    c:add_le(tree, F["board.dx"], 4)
    c:add_le(tree, F["board.dy"], 4)
    ids(c, tree)
end

local function state(c, tree)
    if c:left() < 1 then return lumo.complain(tree, "board_payload") end
    c:add(tree, F["board.state"], 1)
end

local PAYLOADS = {
    WB_CMD_OBJECT_DATA = record, WB_CMD_EXT_DATA = record, WB_CMD_REPLACE_ALL = record, WB_CMD_OBJECT_DELETE = ids,
    WB_CMD_OBJECT_LIST = ids, WB_CMD_OBJECT_MOVE = move, WB_CMD_STATE = state,
}

-- A whiteboard message in words. Where it is not whole, only its head is read.
function lumo.board(c, tree, whole)
    local length = c:left()
    local item = c:branch(tree, "Whiteboard message")
    if whole and length < 12 then lumo.complain(item, "board_short") end
    local head = c:take(12)
    if not head then return "" end
    local command = head(0, 4):le_uint()
    item:add_le(F["board.command"], head(0, 4))
    item:add_le(F["board.object"], head(4, 4))
    item:add_le(F["board.tag"], head(8, 4))
    local payload = whole and PAYLOADS[lumo.BOARD[command]]
    if payload then payload(c, item) end
    return string.format(", %s object %d tag %d", lumo.BOARD[command] or "whiteboard command " .. command,
                         head(4, 4):le_uint(), head(8, 4):le_uint())
end

-- Lengths of the values of a command packet by their types; a text says its own.
local LENGTHS = {[2] = 1, [3] = 2, [4] = 4}

-- One attribute, or false when it is not whole.
local function attribute(c, tree)
    local from = c.at
    local size = c:take(2)
    local name = size and (size:uint() == 0 and "" or c:take(size:uint()))
    local kind = name and c:take(1)
    local length = kind and LENGTHS[kind:uint()]
    if kind and kind:uint() == 1 then
        local text = c:take(2)
        length = text and text:uint()
    end
    local value = length and (length == 0 and "" or c:take(length))
    if not value then return false end
    local shown = value ~= "" and (kind:uint() == 1 and value:string() or string.format("%d", value:uint())) or ""
    local words = (name ~= "" and name:string() or "") .. " = " .. shown
    tree:add(F["packet.attribute"], c.tvb:range(from, c.at - from), words)
    return true
end

-- A frame of the signalling service: whose or for whom it is, and the command packet.
function lumo.signalling(c, tree)
    if c:left() < 4 then return end  -- a keep-alive
    c:add(tree, F.user, 4)
    local item = c:branch(tree, "Command packet")
    local cut = c:captured() < c:left()
    local version = c:add(item, F["packet.version"], 1)
    local count = version and c:add(item, F["packet.count"], 2)
    local good = count and version:uint() == 1
    for _ = 1, good and count:uint() or 0 do
        good = good and attribute(c, item)
        if not good then break end
    end
    if not cut and (not good or c:left() > 0) then lumo.complain(item, "packet") end
end
