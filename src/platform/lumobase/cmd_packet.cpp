// Serialised form, integers big-endian: u8 version (1), u16 count of attributes, then the attributes in ascending order
// of their names. Attribute: u16 name length, name, u8 type, value. Values: 1 text (u16 length, bytes), 2 boolean
// (u8, 0 or 1), 3 u16, 4 u32. At most 64 KiB in all, and nothing behind the last attribute.
#include <lumomedia/base.h>

#include <cstddef>
#include <cstdint>
#include <utility>

namespace {

constexpr size_t kMaxBytes = 64 * 1024;
constexpr unsigned char kVersion = 1;

enum Type : unsigned char { kText = 1, kBool = 2, kShort = 3, kLong = 4 };

/// Bytes of a value of that type; 0 for an unknown type. For a text: of its length.
size_t NumberSize(unsigned char type) {
    switch (type) {
        case kText:
            return 2;
        case kBool:
            return 1;
        case kShort:
            return 2;
        case kLong:
            return 4;
        default:
            return 0;
    }
}

void PutNumber(std::string& bytes, unsigned long number, size_t size) {
    for (size_t i = size; i-- > 0;) bytes.push_back(static_cast<char>(number >> (8 * i) & 0xff));
}

/// A reader that stays failed once it has failed.
class CReader {
public:
    explicit CReader(const std::string& bytes) : m_bytes(bytes) {}

    unsigned long Number(size_t size) {
        if (!Has(size)) return 0;
        unsigned long number = 0;
        for (size_t i = 0; i < size; ++i) number = number << 8 | static_cast<unsigned char>(m_bytes[m_nPos++]);
        return number;
    }
    std::string Text() {
        const size_t length = Number(2);
        if (!Has(length)) return {};
        m_nPos += length;
        return m_bytes.substr(m_nPos - length, length);
    }
    void Fail() { m_bFailed = true; }
    bool Failed() const { return m_bFailed; }
    bool AtEnd() const { return !m_bFailed && m_nPos == m_bytes.size(); }

private:
    bool Has(size_t count) {
        if (m_bytes.size() - m_nPos < count) m_bFailed = true;
        return !m_bFailed;
    }
    const std::string& m_bytes;
    size_t m_nPos = 0;
    bool m_bFailed = false;
};

}  // namespace

CCmdPacket::CCmdPacket() : m_ulFromUID(0) {}
CCmdPacket::~CCmdPacket() = default;
CCmdPacket::CCmdPacket(const CCmdPacket&) = default;
CCmdPacket& CCmdPacket::operator=(const CCmdPacket&) = default;

void CCmdPacket::PutAttrib(const std::string& name, const std::string& value) {
    m_mapAttribs[name] = Value{kText, 0, value};
}

void CCmdPacket::PutAttribBL(const std::string& name, bool value) {
    m_mapAttribs[name] = Value{kBool, value ? 1ul : 0ul, {}};
}

void CCmdPacket::PutAttribUS(const std::string& name, unsigned short value) {
    m_mapAttribs[name] = Value{kShort, value, {}};
}

void CCmdPacket::PutAttribUL(const std::string& name, unsigned long value) {
    m_mapAttribs[name] = Value{kLong, value & 0xffffffff, {}};
}

std::string CCmdPacket::GetAttrib(const std::string& name) const {
    const auto it = m_mapAttribs.find(name);
    return it != m_mapAttribs.end() && it->second.type == kText ? it->second.text : std::string();
}

bool CCmdPacket::GetAttribBL(const std::string& name) const {
    const auto it = m_mapAttribs.find(name);
    return it != m_mapAttribs.end() && it->second.type == kBool && it->second.number != 0;
}

unsigned short CCmdPacket::GetAttribUS(const std::string& name) const {
    const auto it = m_mapAttribs.find(name);
    if (it == m_mapAttribs.end() || it->second.type != kShort) return 0;
    return static_cast<unsigned short>(it->second.number);
}

unsigned long CCmdPacket::GetAttribUL(const std::string& name) const {
    const auto it = m_mapAttribs.find(name);
    return it != m_mapAttribs.end() && it->second.type == kLong ? it->second.number : 0;
}

unsigned long CCmdPacket::GetFromUID() const { return m_ulFromUID; }

void CCmdPacket::SetFromUID(unsigned long userID) { m_ulFromUID = userID & 0xffffffff; }

std::string CCmdPacket::Serialize() const {
    if (m_mapAttribs.size() > 0xffff) return {};
    std::string bytes(1, static_cast<char>(kVersion));
    PutNumber(bytes, m_mapAttribs.size(), 2);
    for (const auto& [name, value] : m_mapAttribs) {
        if (name.size() + value.text.size() > kMaxBytes) return {};
        PutNumber(bytes, name.size(), 2);
        bytes += name;
        bytes.push_back(static_cast<char>(value.type));
        PutNumber(bytes, value.type == kText ? value.text.size() : value.number, NumberSize(value.type));
        bytes += value.text;
        if (bytes.size() > kMaxBytes) return {};
    }
    return bytes;
}

bool CCmdPacket::Parse(const std::string& bytes, CCmdPacket& packet) {
    if (bytes.size() > kMaxBytes) return false;
    CReader reader(bytes);
    if (reader.Number(1) != kVersion) return false;
    std::map<std::string, Value> attribs;
    for (unsigned long count = reader.Number(2); count > 0 && !reader.Failed(); --count) {
        std::string name = reader.Text();
        Value value{static_cast<unsigned char>(reader.Number(1)), 0, {}};
        if (NumberSize(value.type) == 0) reader.Fail();
        if (value.type == kText) {
            value.text = reader.Text();
        } else {
            value.number = reader.Number(NumberSize(value.type));
        }
        if (value.type == kBool && value.number > 1) reader.Fail();
        // The order makes the form unique and leaves no room for a name that comes twice.
        if (!attribs.empty() && name <= attribs.rbegin()->first) reader.Fail();
        attribs.emplace_hint(attribs.end(), std::move(name), std::move(value));
    }
    if (!reader.AtEnd()) return false;
    packet.m_mapAttribs = std::move(attribs);
    packet.m_ulFromUID = 0;
    return true;
}
