// Links on the command line: made by who sends or publishes, taken by who receives.
#pragma once

#include "tools/lumo/net/share_link.h"
#include "tools/lumo/ui/command_line.h"
#include "tools/lumo/ui/progress.h"

#include <string>

namespace lumo {

/// Draws a text as a QR code on standard error.
void DrawCode(const std::string& text);
/// The variable of the environment that names the usual server.
inline constexpr const char* kMcuVariable = "LUMO_MCU";

/// The server that was typed, or where nothing was the usual one.
bool ParseServer(const std::string& typed, const std::string& usual, RelayTarget& target, std::string& problem);

/// What was typed.
struct LinkOptions {
    std::string place;    ///< takers: a link, or a channel number beside --mcu
    std::string channel;  ///< makers; whiteboards, where it stands for `place`
    std::string file;
    std::string usualMcu;  ///< the server where neither link nor line names one
    bool plain = false;    ///< makers
    bool qr = false;       ///< makers

    void AddMakerTo(CCommand& command);
    void AddTakerTo(CCommand& command);

    /// The link that others are to take: the one kept in the file, or a new one at that server. False with the problem
    /// to show and the code to exit with.
    bool Make(LinkMedium medium, const std::string& mcu, ShareLink& link, std::string& problem, int& exitCode) const;
    /// The link that was given, in whatever way; asks for it where there is none.
    bool Take(LinkMedium medium, const std::string& mcu, ShareLink& link, std::string& problem, int& exitCode) const;
    /// Shows the line that others type, `more` at its end.
    void HandOn(const ShareLink& link, const std::string& more, bool quiet, CProgressPrinter& printer) const;

private:
    bool Draw(const std::string& mcu, ShareLink& link, std::string& problem) const;
    std::string Contradiction(const std::string& mcu, const ShareLink& kept) const;
};

}  // namespace lumo
