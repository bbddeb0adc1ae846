#include "tools/lumo/commands/link_options.h"

#include "tools/lumo/commands/link_file.h"
#include "tools/lumo/commands/transfer_options.h"
#include "tools/lumo/seal/given_secret.h"
#include "tools/lumo/ui/qr_code.h"

#include <unistd.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>

namespace lumo {
namespace {

constexpr const char* kBadChannel = "the channel must be a number from 1 to 4294967295";
constexpr const char* kNoLink = "that is neither a link, which begins with lumo://, nor a channel's number";
constexpr const char* kNoServer = "--mcu is missing: the relay server, HOST[:PORT]; LUMO_MCU may name it";

/// Who takes such a link.
std::string TakerOf(LinkMedium medium) {
    if (medium == LinkMedium::File) return "lumo receive";
    return medium == LinkMedium::Board ? "lumo whiteboard" : "lumo subscribe";
}

std::string MediumProblem(LinkMedium wanted, const ShareLink& link) {
    if (link.medium == wanted) return "";
    return std::string("that link leads to ") + MediumName(link.medium) + ", not to " + MediumName(wanted);
}

bool IsSame(const CSealSecret& one, const CSealSecret& other) {
    char texts[2][kSealSecretLength + 1];
    one.GetText(texts[0]);
    other.GetText(texts[1]);
    int differs = 0;  // the time tells nothing about where
    for (size_t i = 0; i < sizeof texts[0]; ++i) differs |= texts[0][i] ^ texts[1][i];
    CSealSecret::Wipe(texts, sizeof texts);
    return differs == 0;
}

/// What LUMO_SECRET says becomes the link's.
std::string AddVariable(ShareLink& link) {
    const std::string& text = Given().variable;
    if (!Given().hasVariable || link.medium == LinkMedium::Board) return "";
    CSealSecret secret;
    if (!secret.Parse(text.data(), static_cast<int>(std::min<size_t>(text.size(), 1000))))
        return "LUMO_SECRET holds no secret; `lumo secret` prints one";
    if (link.secret.IsSet() && !IsSame(link.secret, secret))
        return "there is one secret in the link and another in LUMO_SECRET: unset that";
    link.secret = secret;
    return "";
}

/// What was cut off on the command line comes back for as long as it takes to read it.
bool ParseGivenLink(const std::string& text, bool fromLine, ShareLink& link, std::string& problem) {
    std::string whole;
    whole.reserve(text.size() + Given().afterLink.size() + 1);
    whole = text;
    if (fromLine && Given().hasAfterLink) whole += Given().afterLink;
    const bool parsed = ParseShareLink(whole, link, problem);
    WipeText(whole);
    WipeText(Given().afterLink);
    return parsed;
}

/// The line with the secret, which the JSON event must not be made of: that would leave copies behind.
std::string WithSecret(std::string line, const ShareLink& link) {
    const std::string clear = PublicText(link);
    std::string secret = SecretText(link);
    const size_t at = line.find(TakerOf(link.medium) + " " + clear);
    line.reserve(line.size() + secret.size());
    if (at != std::string::npos) line.replace(at + TakerOf(link.medium).size() + 1, clear.size(), secret);
    WipeText(secret);
    return line;
}

void DrawLink(const ShareLink& link) {
    std::string text = SecretText(link);
    DrawCode(text);
    WipeText(text);
}

}  // namespace

void DrawCode(const std::string& text) {
    const size_t columns = std::min<size_t>(80, TerminalWidth() + 1);
    std::string picture = QrPicture(text, columns, isatty(STDERR_FILENO) == 1);
    if (picture.empty()) picture = "lumo: the QR code does not fit into " + std::to_string(columns) + " columns\n";
    WriteOut(STDERR_FILENO, picture);
    WipeText(picture);
}

void LinkOptions::AddMakerTo(CCommand& command) {
    command.Add("--channel NUMBER", channel, "Number under which others find it; random unless given");
    command.Add("--link-file FILE", file,
                "Keeps the link in FILE, or takes it from there: a sender that is started anew goes on under it");
    command.AddFlag("--plain", plain, "Not sealed: the relay, and whoever is on the way, can read and alter all of it");
    command.AddFlag("--qr", qr, "Draws the link as a QR code on standard error");
    command.Note(
        "It shows one line for others, which ends in a secret unless --plain is given: whoever has it can take part. "
        "LUMO_SECRET may hold the secret instead.");
    command.Exits({{kExitDone, "done"}, {kExitFailed, "failed"}, {kExitNobody, "nobody there"}});
}

void LinkOptions::AddTakerTo(CCommand& command) {
    command.Add("LINK", place,
                "What the other side has shown, or its channel number beside --mcu. Asked for unless given");
    command.Add("--link-file FILE", file, "Takes the link from FILE, which nobody else may be able to read");
    command.Note(
        "A link looks like lumo://HOST[:PORT]/MEDIUM/CHANNEL#SECRET. Beside a channel number LUMO_SECRET holds the "
        "secret.");
    command.Exits({{kExitDone, "done"},
                   {kExitFailed, "failed"},
                   {kExitNobody, "nobody there"},
                   {kExitSealed, "frames came and none fits: a wrong secret, none, or a sender that does not seal"}});
}

bool ParseServer(const std::string& typed, const std::string& usual, RelayTarget& target, std::string& problem) {
    const std::string& server = typed.empty() ? usual : typed;
    if (!server.empty()) return ParseTarget(server, target, problem);
    problem = kNoServer;
    return false;
}

bool LinkOptions::Draw(const std::string& mcu, ShareLink& link, std::string& problem) const {
    if (!ParseServer(mcu, usualMcu, link.mcu, problem)) return false;
    link.channel = channel.empty() ? static_cast<uint32_t>(RandomID() >> 32) | 1U : ParseChannel(channel);
    ShareLink read;
    if (link.channel == 0)
        problem = kBadChannel;
    else if (ParseShareLink(PublicText(link), read, problem))
        problem = AddVariable(link);
    if (problem.empty() && plain && link.secret.IsSet()) problem = "--plain seals nothing, and LUMO_SECRET is set";
    if (!problem.empty()) return false;
    if (plain || link.medium == LinkMedium::Board || link.secret.IsSet() || link.secret.Draw()) return true;
    problem = kNoRandomness;
    return false;
}

std::string LinkOptions::Contradiction(const std::string& mcu, const ShareLink& kept) const {
    RelayTarget named = kept.mcu;
    std::string problem;
    if (!mcu.empty() && !ParseTarget(mcu, named, problem)) return problem;
    const bool elsewhere = named.Text() != kept.mcu.Text();
    if (elsewhere || (!channel.empty() && ParseChannel(channel) != kept.channel))
        return file + ": the link there leads to channel " + std::to_string(kept.channel) + " at " + kept.mcu.Text();
    if (plain && kept.secret.IsSet()) return file + ": the link there holds a secret, and --plain seals nothing";
    if (!plain && !kept.secret.IsSet()) return file + ": the link there holds no secret; --plain goes on without one";
    return "";
}

bool LinkOptions::Make(LinkMedium medium, const std::string& mcu, ShareLink& link, std::string& problem,
                       int& exitCode) const {
    exitCode = kExitUsage;
    link.medium = medium;
    KeepMemoryPrivate();
    if (file.empty()) return Draw(mcu, link, problem);
    std::string text;
    const LinkFile found = ReadLinkFile(file, text, problem);
    if (found == LinkFile::Read && ParseShareLink(text, link, problem)) {
        problem = MediumProblem(medium, link);
        if (problem.empty()) problem = Contradiction(mcu, link);
        if (problem.empty() && !plain) problem = AddVariable(link);
    } else if (found == LinkFile::Read) {
        problem = file + ": " + problem;
    }
    WipeText(text);
    if (found != LinkFile::Absent) return problem.empty();
    if (!Draw(mcu, link, problem)) return false;
    exitCode = kExitFailed;
    return KeepLinkFile(file, link, problem);
}

bool LinkOptions::Take(LinkMedium medium, const std::string& mcu, ShareLink& link, std::string& problem,
                       int& exitCode) const {
    exitCode = kExitUsage;
    KeepMemoryPrivate();
    std::string text = place.empty() ? channel : place;
    if ((file.empty() ? 0 : 1) + (place.empty() ? 0 : 1) + (channel.empty() ? 0 : 1) > 1) {
        problem = "name the link, its file or a channel: one of them";
    } else if (!file.empty() && ReadLinkFile(file, text, problem) == LinkFile::Absent) {
        problem = file + ": there is no such file";
    } else if (file.empty() && text.empty()) {
        text = AskForLink();
        if (text.empty()) problem = "no link was given";
    }
    if (!problem.empty()) return false;
    if (!LooksLikeLink(text)) {
        link.medium = medium;
        link.channel = ParseChannel(text);
        if (link.channel == 0)
            problem = channel.empty() ? kNoLink : kBadChannel;
        else
            ParseServer(mcu, usualMcu, link.mcu, problem);
    } else if (ParseGivenLink(text, !place.empty(), link, problem)) {
        problem = MediumProblem(medium, link);
        if (problem.empty() && !mcu.empty()) ParseTarget(mcu, link.mcu, problem);
    }
    WipeText(text);
    if (problem.empty()) problem = AddVariable(link);
    return problem.empty();
}

void LinkOptions::HandOn(const ShareLink& link, const std::string& more, bool quiet, CProgressPrinter& printer) const {
    const std::string command = TakerOf(link.medium) + " " + PublicText(link) + more;
    const bool sealed = link.secret.IsSet();
    const bool known = !file.empty() || (!channel.empty() && (!sealed || Given().hasVariable));
    const bool json = printer.Mode() == ProgressMode::Json;
    std::string line = sealed ? command : command + "  # not sealed: the relay can read it";
    if (json) {
        const nlohmann::json event = {{"event", "ready"},
                                      {"channel", link.channel},
                                      {"sealed", sealed},
                                      {"link", PublicText(link)},
                                      {"this_host_alone", IsThisHostAlone(link.mcu.host)},
                                      {"command", command}};
        line = event.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    }
    if (json || !quiet || !known) {
        line = WithSecret(line + "\n", link);
        WriteOut(STDOUT_FILENO, line);
    }
    WipeText(line);
    printer.Note(sealed ? "sealed end to end: whoever has this line can take part, so hand it on in private"
                        : "not sealed: the relay, and whoever is on the way, can read and alter it");
    if (IsThisHostAlone(link.mcu.host)) printer.Note(ThisHostAlone(link.mcu.host));
    if (qr) DrawLink(link);
}

}  // namespace lumo
