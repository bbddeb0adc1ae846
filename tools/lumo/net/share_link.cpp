#include "tools/lumo/net/share_link.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace lumo {
namespace {

constexpr const char* kMedia[] = {"audio", "video", "desktop", "file", "board"};
constexpr size_t kMaxHost = 253;  // of a name in the DNS

bool HasOnly(const std::string& text, const char* most) {
    const auto fits = [most](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || std::strchr(most, c);
    };
    return text.find('\0') == std::string::npos && std::all_of(text.begin(), text.end(), fits);
}

/// One number has one text, so that two links are the same or lead elsewhere.
uint64_t ParseExactNumber(const std::string& text, uint64_t most) {
    return !text.empty() && text[0] != '0' ? ParseNumber(text, most) : 0;
}

/// "HOST" or "HOST:PORT".
std::string ReadPlace(const std::string& text, RelayTarget& mcu) {
    const bool bracketed = !text.empty() && text[0] == '[';
    const size_t close = bracketed ? text.find(']') : std::string::npos;
    if (bracketed && close == std::string::npos) return "the link's IPv6 address has no ] at its end";
    const size_t colon = text.find(':', bracketed ? close : 0);
    const size_t end = std::min(colon, text.size());
    mcu.host = bracketed ? text.substr(1, close - 1) : text.substr(0, end);
    mcu.port = kDefaultPort;
    const bool bare = colon != std::string::npos && text.find(':', colon + 1) != std::string::npos;
    if (bare) return "an IPv6 address in a link stands in brackets";
    if (mcu.host.empty()) return "the link names no host";
    const bool good = bracketed ? HasOnly(mcu.host, ":.%") && end == close + 1 : HasOnly(mcu.host, "-._");
    if (!good || mcu.host.size() > kMaxHost || mcu.host[0] == '-') return "the link's host is none";
    if (colon == std::string::npos) return "";
    mcu.port = static_cast<uint16_t>(ParseExactNumber(text.substr(colon + 1), 65535));
    return mcu.port != 0 ? "" : "the link's port must be a number from 1 to 65535";
}

std::string ReadSecret(const std::string& text, ShareLink& link) {
    if (link.medium == LinkMedium::Board) return "a board's link has no secret: boards are not sealed";
    if (link.secret.Parse(text.data(), static_cast<int>(std::min<size_t>(text.size(), 1000)))) return "";
    return "what follows # is no secret: it has " + std::to_string(kSealSecretLength) +
           " letters, digits, - and _; was the link cut off?";
}

std::string Read(const std::string& text, ShareLink& link) {
    const size_t scheme = std::strlen(kLinkScheme);
    if (text.compare(0, scheme, kLinkScheme) != 0) return "a link begins with lumo://";
    const size_t hash = text.find('#');
    const std::string clear = text.substr(scheme, hash == std::string::npos ? hash : hash - scheme);
    const size_t first = clear.find('/'), second = first == std::string::npos ? first : clear.find('/', first + 1);
    if (second == std::string::npos) return "a link has the form lumo://HOST[:PORT]/MEDIUM/CHANNEL[#SECRET]";
    std::string problem = ReadPlace(clear.substr(0, first), link.mcu);
    if (!problem.empty()) return problem;
    const std::string name = clear.substr(first + 1, second - first - 1);
    const std::optional<LinkMedium> medium = MediumNamed(name);
    if (!medium) return "the link's medium must be audio, video, desktop, file or board";
    link.medium = *medium;
    link.channel = static_cast<uint32_t>(ParseExactNumber(clear.substr(second + 1), UINT32_MAX));
    if (link.channel == 0) return "the link's channel must be a number from 1 to 4294967295";
    if (hash == std::string::npos) return "";
    std::string secret = text.substr(hash + 1);
    problem = ReadSecret(secret, link);
    WipeText(secret);
    return problem;
}

}  // namespace

const char* MediumName(LinkMedium medium) { return kMedia[static_cast<size_t>(medium)]; }

std::optional<LinkMedium> MediumNamed(const std::string& name) {
    const auto* const found = std::find(std::begin(kMedia), std::end(kMedia), name);
    if (found == std::end(kMedia)) return std::nullopt;
    return static_cast<LinkMedium>(found - std::begin(kMedia));
}

bool ParseShareLink(const std::string& text, ShareLink& link, std::string& problem) {
    link = ShareLink();
    problem = Read(text, link);
    if (!problem.empty()) link = ShareLink();
    return problem.empty();
}

std::string PublicText(const ShareLink& link) {
    const bool bracketed = link.mcu.host.find(':') != std::string::npos;
    std::string text = kLinkScheme + (bracketed ? "[" + link.mcu.host + "]" : link.mcu.host);
    if (link.mcu.port != kDefaultPort) text += ":" + std::to_string(link.mcu.port);
    return text + "/" + MediumName(link.medium) + "/" + std::to_string(link.channel);
}

std::string SecretText(const ShareLink& link) {
    std::string text = PublicText(link);
    if (!link.secret.IsSet()) return text;
    char secret[kSealSecretLength + 1];
    link.secret.GetText(secret);
    text.reserve(text.size() + sizeof secret + 1);  // one that grew later would leave a copy behind
    text.append("#").append(secret);
    CSealSecret::Wipe(secret, static_cast<int>(sizeof secret));
    return text;
}

void WipeText(std::string& text) {
    CSealSecret::Wipe(text.data(), static_cast<int>(text.size()));
    text.clear();
}

}  // namespace lumo
