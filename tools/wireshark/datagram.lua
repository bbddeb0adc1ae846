-- One datagram: the envelope, the fields of the command table, the packet of the reliable session.

local F = lumo.F

-- Rows of the table by kind and code: a short form and perhaps a long one.
local rows = {}
local function key_of(kind, code) return kind * 256 + code end
for _, row in ipairs(lumo.COMMANDS) do
    local key = key_of(row.kind, row.code)
    rows[key] = rows[key] or {}
    table.insert(rows[key], row)
end

local function accepts(row, length)
    if row.tail == "none" then return length == row.fixed end
    return length >= row.fixed + row.least
end

-- The row of a datagram of that length, or nothing.
function lumo.find_row(kind, code, length)
    for _, row in ipairs(rows[key_of(kind, code)] or {}) do
        if accepts(row, length) then return row end
    end
end

local function frame_words(begins, ends)
    if begins and ends then return ", a whole frame" end
    return begins and ", a frame begins" or ends and ", the frame ends" or ""
end

-- What a data packet carries, in words.
local function payload(c, tree, row, begins, ends)
    if c:left() == 0 then return "" end
    local item = c:branch(tree, "Payload")
    local words = ""
    local whole = lumo.cursor(c.tvb, c.at, c.stop)
    local clear = lumo.clear_of_kind(row.kind)
    if begins and clear == 3 and not row.name:find("_FRAME_ACK$") then lumo.video(c, item) end
    if begins then words = lumo.sealed(c, c:left(), clear, item) end
    if begins and lumo.KINDS[row.kind] == "UDP_WB" then words = words .. lumo.board(c, item, ends) end
    whole:add(item, F.frame, whole:captured())
    return words
end

local BITS = {"session.version", "session.all", "session.command"}
local MARKS = {"session.window", "session.begin", "session.end", "session.key"}

local function set(value, bit_value) return math.floor(value / bit_value) % 2 == 1 end

-- A session packet in words. `way` names its direction of its link.
local function session(c, tree, row, way)
    local length = c:left()
    local item = c:branch(tree, "Session packet")
    local header = c:take(lumo.HEADER)
    if not header then
        if length >= lumo.HEADER then return ": cut" end
        lumo.complain(item, "session_short")
        return ": too short for a session packet"
    end
    local bits, marks = header(2, 1):uint(), header(3, 1):uint()
    local sequence, command = header(0, 2):uint(), bits % 32
    item:add(F["session.seq"], header(0, 2))
    for _, name in ipairs(BITS) do item:add(F[name], header(2, 1)) end
    for _, name in ipairs(MARKS) do item:add(F[name], header(3, 1)) end
    if bits >= 64 then
        lumo.complain(item, "session_version")
        return ": session packet of version " .. math.floor(bits / 64)
    end
    if command == lumo.ACK then
        return string.format(": ack seq %d%s, window %d", sequence, set(bits, 32) and " and all before" or " alone",
                             math.floor(marks / 8)) .. (lumo.is_answer(header) and lumo.wide_ack(header, c, item) or "")
    end
    if command ~= lumo.DATA then
        lumo.complain(item, "session_command")
        return string.format(": session command %d seq %d", command, sequence)
    end
    local begins, ends = set(marks, 4), set(marks, 2)
    local words = string.format(": data seq %d, %d bytes", sequence, length - lumo.HEADER)
    words = words .. lumo.wide_data(header, item, way) .. frame_words(begins, ends)
    return words .. payload(c, item, row, begins, ends)
end

local function tail(c, tree, row, way)
    if row.tail == "session" then return session(c, tree, row, way) end
    if row.tail == "none" then return "" end
    local words = string.format(": frame of %d bytes", c:left())
    if c:left() == 0 then return words end
    local item = c:branch(tree, "Frame")
    words = words .. lumo.sealed(c, c:left(), lumo.clear_of_kind(row.kind), item)
    c:add(item, F.frame, c:captured())
    return words
end

local function fields(c, tree, row)
    local words = ""
    for _, number in ipairs(row.fields) do
        local field = lumo.FIELDS[number]
        local range = c:add(tree, field.field, field.length)
        if not range then break end
        local value = field.address and lumo.address(range) or string.format("%d", range:uint())
        words = words .. " " .. field.word .. " " .. value
    end
    return words
end

-- Probes, their answers and the reflector's: kinds without commands. Nothing where it has not their length.
local function special(c, tree, name)
    local length = c:left()
    if name == "UDP_STUN" then
        if length == 0 then return name .. " asks for its address" end
        local ip = length == 6 and c:add(tree, F["seen.ip"], 4)
        local port = ip and c:add(tree, F["seen.port"], 2)
        return port and string.format("%s your address is %s:%d", name, lumo.address(ip), port:uint())
    end
    local user = length == 4 and c:take(4)
    if not user then return nil end
    tree:add_le(F.user, user)
    return string.format("%s user %d", name, user:le_uint())
end

local SPECIAL = {UDP_P2P = true, UDP_P2P_ACK = true, UDP_STUN = true}

local function refuse(tree, complaint, words, more)
    lumo.complain(tree, complaint)
    return words .. ": " .. more
end

-- One datagram in words. `from` is where it comes from and goes to.
function lumo.datagram(c, tree, from)
    local length, at = c:left(), c.at
    local kind = c:add(tree, F.kind, 1)
    kind = kind and kind:uint()
    local name = lumo.KINDS[kind]
    if not name then return refuse(tree, "kind", "kind " .. tostring(kind), "nobody knows it") end
    if SPECIAL[name] then return special(c, tree, name) or refuse(tree, "length", name, length .. " bytes") end
    local code = c:add(tree, F.command, 1)
    if not code and length > 1 then return name .. ": cut" end
    if not code then return refuse(tree, "command", name, "no command") end
    code = code:uint()
    local row = lumo.find_row(kind, code, length)
    local known = rows[key_of(kind, code)]
    if not known then return refuse(tree, "command", name, string.format("no command 0x%02x", code)) end
    if not row then return refuse(tree, "length", known[1].name, length .. " bytes") end
    local words = row.name .. fields(c, tree, row)
    -- The IDs tell the links of two hosts apart.
    local ids = row.tail == "session" and c.at > at and c.tvb:range(at, c.at - at):bytes():tohex() or ""
    return words .. tail(c, tree, row, from .. " " .. ids)
end

-- A capture may show as one datagram a run of them: sends that the kernel cuts into datagrams of equal size, of which
-- the last may be shorter, only after they have been captured. How long the first is if it is of that row.
local function first_of_run(c, row)
    local length = c:left()
    if row.tail == "none" then return row.fixed end
    local bits = c:byte(row.fixed + 2)
    if row.tail ~= "session" or length < row.fixed + lumo.HEADER or not bits then return length end
    local ack = bits % 32 == lumo.ACK
    local wide = ack and lumo.wide_ack_length(lumo.cursor(c.tvb, c.at + row.fixed, c.stop))
    return row.fixed + (wide or lumo.HEADER + (ack and 0 or lumo.PAYLOAD))
end

local LENGTHS = {UDP_P2P = {[5] = true}, UDP_P2P_ACK = {[5] = true}, UDP_STUN = {[1] = true, [7] = true}}

-- Whether a datagram of that length can begin so far ahead.
local function may_begin(c, ahead, length)
    local kind, code = c:byte(ahead), c:byte(ahead + 1)
    local lengths = LENGTHS[lumo.KINDS[kind]]
    if lengths then return lengths[length] end
    return kind and code and length > 1 and lumo.find_row(kind, code, length)
end

local function cut_run(c, piece)
    local length, at, lengths = c:left(), 0, {}
    while at < length do
        local one = math.min(piece, length - at)
        if not may_begin(c, at, one) then return nil end
        lengths[#lengths + 1] = one
        at = at + one
    end
    return lengths
end

-- The lengths of the datagrams of a run; of one where it is none.
function lumo.split_run(c)
    local length = c:left()
    local kind, code = c:byte(0), c:byte(1)
    local whole = code and lumo.find_row(kind, code, length)
    if whole and whole.tail == "none" then return {length} end
    for _, row in ipairs(code and rows[key_of(kind, code)] or {}) do
        local piece = first_of_run(c, row)
        local lengths = piece < length and cut_run(c, piece)
        if lengths then return lengths end
    end
    return {length}
end
