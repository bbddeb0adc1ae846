// The line that somebody hands on so that others can take part.
#pragma once

#include "tools/lumo/net/target.h"

#include <lumomedia/seal.h>

#include <cstdint>
#include <optional>
#include <string>

namespace lumo {

enum class LinkMedium { Audio, Video, Desktop, File, Board };
/// As links and commands write it.
const char* MediumName(LinkMedium medium);
/// The other way round; none for anything else.
std::optional<LinkMedium> MediumNamed(const std::string& name);

/// "lumo://HOST[:PORT]/MEDIUM/CHANNEL[#SECRET]", where an IPv6 address stands in brackets.
struct ShareLink {
    RelayTarget mcu;  ///< not resolved; the host without brackets
    LinkMedium medium = LinkMedium::File;
    uint32_t channel = 0;
    CSealSecret secret;  ///< not set: frames travel plain, as a board's always do
};

inline constexpr const char* kLinkScheme = "lumo://";
/// Whether somebody means it for a link, whatever is wrong with it.
inline bool LooksLikeLink(const std::string& text) { return text.compare(0, 5, "lumo:") == 0; }
/// Takes exactly the form above; false, with `problem`, for anything else. The problem never repeats what follows #.
bool ParseShareLink(const std::string& text, ShareLink& link, std::string& problem);
/// Its text without the secret.
std::string PublicText(const ShareLink& link);
/// Its text with the secret, if it has one. Wipe it when it has been shown.
std::string SecretText(const ShareLink& link);

/// Overwrites a text that held a secret, and empties it.
void WipeText(std::string& text);

}  // namespace lumo
