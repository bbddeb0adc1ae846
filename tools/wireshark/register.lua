-- Where Wireshark finds it: the usual ports, those of the preferences, and what looks like it elsewhere.

local proto = lumo.proto
local SEPARATOR, MOST = " | ", 8  -- of what one packet says in its line
local PORTS = "7000-7001"

local stream_of = Field.new("tcp.stream")

-- The datagrams that a packet shows, in words.
local function datagrams(tvb, pinfo, tree)
    local said = {}
    local from = table.concat({tostring(pinfo.net_src), pinfo.src_port, tostring(pinfo.net_dst), pinfo.dst_port}, " ")
    local all = lumo.cursor(tvb, 0, tvb:reported_len())
    for _, length in ipairs(lumo.split_run(all)) do
        local c = all:part(length)
        if c:captured() > 0 then
            local item = tree:add(proto, tvb:range(c.at, c:captured()))
            if c:captured() < length then lumo.complain(item, "cut") end
            said[#said + 1] = lumo.datagram(c, item, from)
        end
    end
    return said
end

local function show(pinfo, said)
    if #said == 0 then return end
    pinfo.cols.protocol = "LUMO"
    local more = #said > MOST and SEPARATOR .. "and " .. #said - MOST .. " more" or ""
    pinfo.cols.info = table.concat(said, SEPARATOR, 1, math.min(#said, MOST)) .. more
end

function proto.dissector(tvb, pinfo, tree)
    local stream = stream_of()
    if not stream then
        show(pinfo, datagrams(tvb, pinfo, tree))
        return tvb:len()
    end
    local used, said = lumo.tcp(tvb, pinfo, tree, stream.value)
    show(pinfo, said or {})
    return used
end

function proto.init()
    lumo.forget_offers()
    lumo.forget_services()
end

-- Whether a datagram at a port that nobody has named is ours for sure: the table knows its kind, code and length, its
-- first ID is not 0, and what it carries, if anything, is a session packet. Frames of audio look like anything.
local function is_surely_ours(tvb)
    local c = lumo.cursor(tvb, 0, tvb:reported_len())
    local kind, code = c:byte(0), c:byte(1)
    local row = code and lumo.find_row(kind, code, c:left())
    if not row or row.tail == "frame" or c:captured() < row.fixed or tvb:range(2, 4):uint() == 0 then return false end
    if row.tail == "none" then return true end
    local bits, marks = c:byte(row.fixed + 2), c:byte(row.fixed + 3)
    if c:left() < row.fixed + lumo.HEADER or not marks then return false end
    return bits < 64 and bits % 32 <= lumo.ACK and marks % 2 == 0
end

local function over_udp(tvb, pinfo, tree)
    if not is_surely_ours(tvb) then return false end
    pinfo.conversation = proto
    return proto.dissector(tvb, pinfo, tree) > 0
end

local function over_tcp(tvb, pinfo, tree)
    if not lumo.opens_connection(tvb) then return false end
    pinfo.conversation = proto
    return proto.dissector(tvb, pinfo, tree) > 0
end

proto.prefs.ports = Pref.range("Ports", PORTS, "UDP and TCP ports of relay servers and of programs", 65535)
local tables = {DissectorTable.get("udp.port"), DissectorTable.get("tcp.port")}
local registered = PORTS

local function register(ports)
    for _, one in ipairs(tables) do
        if registered ~= "" then one:remove(registered, proto) end
        if ports ~= "" then one:add(ports, proto) end
    end
    registered = ports
end

function proto.prefs_changed() register(proto.prefs.ports) end

for _, one in ipairs(tables) do one:add(PORTS, proto) end
proto:register_heuristic("udp", over_udp)
proto:register_heuristic("tcp", over_tcp)
