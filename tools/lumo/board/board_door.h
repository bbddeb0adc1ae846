// Where a board's page is served, and to whom.
#pragma once

#include <httplib.h>

#include <cstdint>
#include <string>

namespace lumo {

struct BoardDoor {
    static constexpr uint32_t kLoopback = 0x7f000001;

    uint32_t ip = kLoopback;  ///< 0: all addresses of this host
    uint16_t port = 0;        ///< 0, until it is open: a free one
    std::string token;        ///< what every path begins with; empty where only this host can come

    /// Draws the token. False when the system has no random bytes.
    bool DrawToken();
    /// What stands before every path.
    std::string Prefix() const { return token.empty() ? "" : "/" + token; }
    /// Whether a path begins with the token, if there is one. Takes as long however much of a wrong one fits.
    bool Opens(const std::string& path) const;
    /// The page's address for those who know the host by that one.
    std::string Url(uint32_t shownIP) const;
};

/// Whether a request comes from a page of this server, or for a GET from the address line of a browser. Other sites'
/// pages can make a browser ask here, too, but not under this name and not as this origin.
bool IsOwnRequest(const httplib::Request& request, const BoardDoor& door);

}  // namespace lumo
