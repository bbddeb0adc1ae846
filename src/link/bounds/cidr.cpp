#include "link/bounds/cidr.h"

#include "platform/lumonet/lumonet.h"

#include <algorithm>

namespace {

// At most two digits, so that nothing overflows.
bool ParsePrefix(const std::string& text, unsigned& prefix) {
    if (text.empty() || text.size() > 2) return false;
    if (!std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; })) return false;
    prefix = static_cast<unsigned>(std::stoul(text));
    return prefix <= 32;
}

}  // namespace

bool CCidr::Parse(const std::string& text, CCidrList& list) {
    const size_t slash = text.find('/');
    uint32_t ip = 0;
    unsigned prefix = 32;
    if (!ParseIpAddr(text.substr(0, slash), ip)) return false;
    if (slash != std::string::npos && !ParsePrefix(text.substr(slash + 1), prefix)) return false;
    list.emplace_back(ip, prefix);
    return true;
}

bool Contains(const CCidrList& list, uint32_t ip) {
    return std::any_of(list.begin(), list.end(), [ip](const CCidr& range) { return range.Contains(ip); });
}
