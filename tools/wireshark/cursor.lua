-- A cursor over some bytes of a packet. The network is hostile and captures are cut, so nothing is read but through it.

local Cursor = {}
Cursor.__index = Cursor

-- `stop` is where the bytes ended on the wire; a capture may hold fewer.
function lumo.cursor(tvb, at, stop)
    return setmetatable({tvb = tvb, at = at, stop = stop, from = at}, Cursor)
end

-- How many bytes there were on the wire, and how many of them were captured.
function Cursor:left() return self.stop - self.at end
function Cursor:captured() return math.max(0, math.min(self.stop, self.tvb:len()) - self.at) end

-- The next bytes, or nothing where they were not sent or not captured.
function Cursor:take(length)
    if length < 1 or length > self:captured() then return nil end
    local range = self.tvb:range(self.at, length)
    self.at = self.at + length
    return range
end

-- The value of the byte that lies so far ahead, if it was captured.
function Cursor:byte(ahead)
    if ahead >= self:captured() then return nil end
    return self.tvb:range(self.at + ahead, 1):uint()
end

-- Takes a field of the tree; gives its bytes.
function Cursor:add(tree, field, length)
    local range = self:take(length)
    if range then tree:add(field, range) end
    return range
end

-- The same for a little-endian one.
function Cursor:add_le(tree, field, length)
    local range = self:take(length)
    if range then tree:add_le(field, range) end
    return range
end

-- An item for all that is left; of nothing but its words where nothing was captured.
function Cursor:branch(tree, words)
    if self:captured() == 0 then return tree:add(words) end
    return tree:add(self.tvb:range(self.at, self:captured()), words)
end

-- Another cursor over the next bytes, which this one passes.
function Cursor:part(length)
    local part = lumo.cursor(self.tvb, self.at, math.min(self.stop, self.at + length))
    self.at = part.stop
    return part
end

-- Four bytes as an address, never as a name.
function lumo.address(range)
    local parts = {}
    for i = 0, 3 do parts[i + 1] = range(i, 1):uint() end
    return table.concat(parts, ".")
end
