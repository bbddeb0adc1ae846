#include "tools/lumo/ui/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace lumo {
namespace {

std::string Fixed(double value, int decimals) {
    char text[64];
    const int length = std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return {text, static_cast<size_t>(std::clamp(length, 0, 63))};
}

}  // namespace

size_t TerminalWidth() {
    winsize size{};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col < 20) return 79;
    return std::min<size_t>(size.ws_col - 1U, 120);
}

void CRateMeter::Update(uint64_t now, uint64_t bytes) {
    if (!m_samples.empty() && bytes < m_samples.back().second) m_samples.clear();  // it began anew
    m_samples.emplace_back(now, bytes);
    while (m_samples.size() > 2 && now - m_samples.front().first > kSpanMs) m_samples.pop_front();
}

double CRateMeter::PerSecond() const {
    if (m_samples.size() < 2) return 0;
    const auto passed = static_cast<double>(m_samples.back().first - m_samples.front().first);
    const auto bytes = static_cast<double>(m_samples.back().second - m_samples.front().second);
    return passed > 0 ? bytes * 1000 / passed : 0;
}

double CRateMeter::SecondsFor(uint64_t left) const {
    const double rate = PerSecond();
    return rate >= 1 ? static_cast<double>(left) / rate : -1;
}

ProgressMode CProgressPrinter::Choose(bool json, bool quiet) {
    if (json) return ProgressMode::Json;
    if (quiet) return ProgressMode::Quiet;
    return isatty(STDERR_FILENO) == 1 ? ProgressMode::Bar : ProgressMode::Plain;
}

bool CProgressPrinter::Due(uint64_t now) const {
    if (m_mode == ProgressMode::Bar) return now - m_ullShownMs >= 200;
    return m_mode == ProgressMode::Json && now - m_ullShownMs >= 1000;
}

void CProgressPrinter::Show(uint64_t now, const ProgressView& view, const nlohmann::json& details) {
    m_ullShownMs = now;
    m_rate.Update(now, view.moved);
    const double left = m_rate.SecondsFor(view.total - std::min(view.done, view.total));
    if (m_mode == ProgressMode::Bar) {
        const size_t width = TerminalWidth();
        std::vector<std::string> lines;
        for (const FileView& file : view.files) lines.push_back(FileText(file, width));
        lines.push_back(BarText(view, m_rate.PerSecond(), left, width));
        Draw(lines);
    }
    if (m_mode != ProgressMode::Json) return;
    nlohmann::json event = details;
    event["event"] = "progress";
    event["state"] = view.words;
    event["bytes"] = view.done;
    event["total_bytes"] = view.total;
    for (const FileView& file : view.files)
        event["in_flight"].push_back({{"name", file.name}, {"bytes", file.done}, {"total_bytes", file.total}});
    event["bytes_per_second"] = static_cast<uint64_t>(m_rate.PerSecond());
    event["seconds_left"] = left < 0 ? nlohmann::json() : nlohmann::json(std::round(left * 10) / 10);
    Event(event);
}

void CProgressPrinter::Show(uint64_t now, const LiveView& view, nlohmann::json details) {
    m_ullShownMs = now;
    m_rate.Update(now, view.bytes);
    if (m_mode == ProgressMode::Bar) Draw({LiveText(view, m_rate.PerSecond(), TerminalWidth())});
    if (m_mode != ProgressMode::Json) return;
    details["event"] = "progress";
    details["state"] = view.words;
    details["seconds"] = std::round(view.seconds * 10) / 10;
    details["bytes"] = view.bytes;
    details["bytes_per_second"] = static_cast<uint64_t>(m_rate.PerSecond());
    Event(details);
}

std::string CProgressPrinter::Back() const {
    if (m_nLines > 1) return "\x1b[" + std::to_string(m_nLines - 1) + "A\r\x1b[J";
    return m_nDrawn > 0 ? "\r" + std::string(m_nDrawn, ' ') + "\r" : "";
}

void CProgressPrinter::Draw(const std::vector<std::string>& lines) {
    const std::string& last = lines.back();
    std::string text = "\r";
    if (m_nLines > 1 || lines.size() > 1) text = Back();
    for (size_t i = 0; i + 1 < lines.size(); ++i) text += lines[i] + '\n';
    text += last;
    if (m_nLines == 1 && lines.size() == 1 && m_nDrawn > last.size()) text.append(m_nDrawn - last.size(), ' ');
    std::fputs(text.c_str(), stderr);
    std::fflush(stderr);
    m_nDrawn = last.size();
    m_nLines = lines.size();
}

void CProgressPrinter::Wipe() {
    std::fputs(Back().c_str(), stderr);
    m_nDrawn = m_nLines = 0;
}

void CProgressPrinter::LeaveLine() {
    if (m_nDrawn > 0) std::fputc('\n', stderr);
    m_nDrawn = m_nLines = 0;
}

void CProgressPrinter::Note(const std::string& line) {
    if (m_mode == ProgressMode::Quiet || m_mode == ProgressMode::Json) return;
    Wipe();
    std::fprintf(stderr, "%s\n", line.c_str());
}

void CProgressPrinter::Event(const nlohmann::json& event) {
    if (m_mode != ProgressMode::Json) return;
    const std::string text = event.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    std::fprintf(m_pJson, "%s\n", text.c_str());
    std::fflush(m_pJson);
}

void CProgressPrinter::Error(const std::string& line) {
    Event({{"event", "error"}, {"problem", line}});
    Warn(line);
}

void CProgressPrinter::Warn(const std::string& line) {
    Wipe();
    std::fprintf(stderr, "lumo: %s\n", line.c_str());
}

std::string BytesText(double bytes) {
    static constexpr const char* kUnits[] = {"B", "kB", "MB", "GB", "TB"};
    size_t unit = 0;
    for (; bytes >= 999.5 && unit + 1 < std::size(kUnits); ++unit) bytes /= 1000;
    return Fixed(bytes, unit == 0 || bytes >= 99.95 ? 0 : 1) + " " + kUnits[unit];
}

std::string Counted(uint64_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string DurationText(double seconds) {
    const auto whole = static_cast<unsigned long>(std::clamp(std::ceil(seconds), 0.0, 359999.0));
    const unsigned long hours = whole / 3600, minutes = whole / 60 % 60, rest = whole % 60;
    const auto two = [](unsigned long value) { return (value < 10 ? "0" : "") + std::to_string(value); };
    return hours > 0 ? std::to_string(hours) + ":" + two(minutes) + ":" + two(rest)
                     : std::to_string(minutes) + ":" + two(rest);
}

std::string LiveText(const LiveView& view, double perSecond, size_t width) {
    const std::string clock = DurationText(std::floor(view.seconds));
    std::string line = view.words + (clock.size() < 5 ? " 0" : " ") + clock + "  " +
                       BytesText(static_cast<double>(view.bytes)) + "  " + BytesText(perSecond) + "/s";
    if (!view.more.empty()) line += "  " + view.more;
    return line.substr(0, width);
}

std::string FileText(const FileView& file, size_t width) {
    const double share = file.total > 0 ? static_cast<double>(file.done) / static_cast<double>(file.total) : 0;
    const std::string figures =
        "  " + std::to_string(static_cast<int>(share * 100)) + " %  of " + BytesText(static_cast<double>(file.total));
    const size_t room = width > figures.size() + 2 ? width - figures.size() - 2 : 0;
    // The end of a path tells more; the cut falls between characters.
    size_t from = file.name.size() - std::min(room, file.name.size());
    while (from < file.name.size() && (static_cast<unsigned char>(file.name[from]) & 0xC0U) == 0x80) ++from;
    return ("  " + file.name.substr(from) + figures).substr(0, width);
}

std::string BarText(const ProgressView& view, double perSecond, double secondsLeft, size_t width) {
    if (view.rests) return view.words.substr(0, width);
    const double share =
        view.total > 0 ? std::min(1.0, static_cast<double>(view.done) / static_cast<double>(view.total)) : 0;
    std::string figures = " " + std::to_string(static_cast<int>(share * 100)) + " %  " +
                          BytesText(static_cast<double>(view.done)) + " of " +
                          BytesText(static_cast<double>(view.total)) + "  " + BytesText(perSecond) + "/s";
    if (secondsLeft >= 0) figures += "  " + DurationText(secondsLeft) + " left";
    const std::string words = view.words + " ";
    std::string line = words;
    if (words.size() + figures.size() + 7 <= width) {
        const size_t room = std::min<size_t>(40, width - words.size() - figures.size() - 2);
        const auto filled = static_cast<size_t>(share * static_cast<double>(room));
        line += "[" + std::string(filled, '#') + std::string(room - filled, '.') + "]";
    }
    line += figures;
    return line.substr(0, width);
}

}  // namespace lumo
