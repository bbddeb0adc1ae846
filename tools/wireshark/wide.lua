-- The wide session: what stands in bytes 4 to 11 of a session packet's header, and behind an acknowledgement's.

local F = lumo.F
local TWO_32 = 4294967296
local OFFER, ANSWER = 0x9D57, 0xB2E9
local ACK_FIXED = 14

-- Numbers of Lua may be doubles: products of 32 bits are made of two of 16, and what `bit` gives is signed.
local function product(a, b)
    local high = math.floor(a / 65536) * b % TWO_32
    return (high * 65536 + a % 65536 * b) % TWO_32
end
local function xor(a, b) return bit.bxor(a, b) % TWO_32 end

local function mix(value)
    value = product(xor(value, math.floor(value / 65536)), 0x7FEB352D)
    value = product(xor(value, math.floor(value / 32768)), 0x846CA68B)
    return xor(value, math.floor(value / 65536))
end
local function head_form(token) return mix(xor(token, 0xC2B2AE35)) % 0x1000000 end

-- The token in a header that is an offer or an answer, or nothing.
local function agreement(header, magic)
    if header(4, 2):uint() ~= magic or header(6, 1):uint() ~= lumo.WIDE_VERSION then return nil end
    local token = header(7, 4):uint()
    local check = mix(xor(token, header(0, 3):uint() * 32)) % 256
    if token == 0 or header(11, 1):uint() ~= check then return nil end
    return token
end

-- Which tokens each way of a link has offered, by the form that heads have. `way` is a key that only that way has.
local offered = {}
function lumo.forget_offers() offered = {} end

local function complain_of_token(item, way, form)
    if offered[way] and not offered[way][form] then lumo.complain(item, "wide_token") end
end

-- What a data packet's header says, in words.
function lumo.wide_data(header, tree, way)
    local token = agreement(header, OFFER)
    if token then
        offered[way] = offered[way] or {}
        offered[way][head_form(token)] = true
        tree:add(F["wide.offer"], header(7, 4), token)
        return ", offers a wide session"
    end
    if header(4, 4):uint() == 0 and header(8, 4):uint() == 0 then return "" end
    local number = header(4, 2):uint() * 65536 + header(0, 2):uint()
    local transmission = header(6, 3):uint()
    tree:add(F["wide.number"], header(4, 2), number)
    tree:add(F["wide.transmission"], header(6, 3), transmission)
    complain_of_token(tree:add(F["wide.token"], header(9, 3)), way, header(9, 3):uint())
    return string.format(", number %d, transmission %d", number, transmission)
end

-- Whether an acknowledgement answers an offer, whatever its token.
function lumo.is_answer(header) return agreement(header, ANSWER) ~= nil end

-- How long the whole acknowledgement is that begins at the cursor, if it is one of a wide session and that shows.
function lumo.wide_ack_length(c)
    local fixed = lumo.HEADER + ACK_FIXED
    local ranges = c:byte(fixed - 1)
    if not ranges or not lumo.is_answer(c.tvb:range(c.at, lumo.HEADER)) then return nil end
    return fixed + 4 * ranges
end

-- The ranges of an acknowledgement in words, or nothing when one names what cannot be.
local function ranges_of(c, count, delivered, tree)
    local words = ""
    for i = 1, count do
        local range = c:take(4)
        local first, packets = range(0, 2):uint(), range(2, 2):uint()
        if first < 2 or packets < 1 or first + packets - 1 > lumo.MAX_IN_FLIGHT then return nil end
        local from, to = (delivered + first) % TWO_32, (delivered + first + packets - 1) % TWO_32
        tree:add(F["wide.range.first"], range(0, 2), from)
        tree:add(F["wide.range.last"], range(2, 2), to)
        words = words .. string.format("%s%d-%d", i == 1 and ", also " or " ", from, to)
    end
    return words
end

-- What stands behind the header of an acknowledgement that is an answer, in words.
function lumo.wide_ack(header, c, tree)
    tree:add(F["wide.answer"], header(7, 4))
    local length = c:left()
    local item = c:branch(tree, "Acknowledgement of a wide session")
    local fixed = c:take(ACK_FIXED)
    if not fixed then
        if length < ACK_FIXED then lumo.complain(item, "wide_ack") end
        return ""
    end
    local delivered, transmission, waited = fixed(0, 4):uint(), fixed(4, 3):uint(), fixed(7, 3):uint()
    local room, count = math.min(fixed(10, 2):uint(), lumo.MAX_IN_FLIGHT), fixed(13, 1):uint()
    item:add(F["wide.delivered"], fixed(0, 4))
    item:add(F["wide.transmission"], fixed(4, 3))
    item:add(F["wide.waited"], fixed(7, 3))
    item:add(F["wide.room"], fixed(10, 2))
    item:add(F["wide.given_back"], fixed(12, 1))
    item:add(F["wide.ranges"], fixed(13, 1))
    local fits = count <= lumo.MAX_RANGES and c:left() == 4 * count
    if fits and c:captured() < c:left() then return "" end
    local ranges = fits and ranges_of(c, count, delivered, item)
    if not ranges then
        lumo.complain(item, "wide_ack")
        return ""
    end
    local words = string.format(", of a wide session: %d delivered, room %d", (delivered + 1) % TWO_32, room)
    if transmission ~= lumo.NO_TRANSMISSION then
        words = words .. string.format(", transmission %d waited %d us", transmission, waited)
    end
    return words .. ranges
end
