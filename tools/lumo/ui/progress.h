// How a transfer or a live stream shows itself: a line on a terminal, one JSON object a second, or not at all.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <cstdio>
#include <deque>
#include <string>
#include <utility>
#include <vector>

namespace lumo {

/// Bytes a second over the last few seconds.
class CRateMeter {
public:
    void Update(uint64_t now, uint64_t bytes);
    double PerSecond() const;
    /// Seconds until `left` more bytes have come; negative when nobody knows.
    double SecondsFor(uint64_t left) const;

private:
    static constexpr uint64_t kSpanMs = 5000;
    std::deque<std::pair<uint64_t, uint64_t>> m_samples;
};

/// One of several files, in flight.
struct FileView {
    std::string name;  ///< that prints as it is
    uint64_t done = 0;
    uint64_t total = 0;
};

struct ProgressView {
    static constexpr size_t kMostFiles = 4;  ///< that fit above the line of all

    std::string words;  ///< what is going on
    uint64_t done = 0;
    uint64_t total = 0;
    uint64_t moved = 0;             ///< what the rate is taken of
    bool rests = false;             ///< whoever waits for others is shown no figures
    std::vector<FileView> files{};  ///< in flight, of several
};

/// A live stream, which has no end to come nearer to.
struct LiveView {
    std::string words;   ///< what is going on
    double seconds = 0;  ///< for how long
    uint64_t bytes = 0;
    std::string more;  ///< who listens, or how well it is heard
};

enum class ProgressMode { Quiet, Plain, Bar, Json };

class CProgressPrinter {
public:
    /// JSON goes to `json`; everything else to standard error.
    CProgressPrinter(ProgressMode mode, std::FILE* json) : m_mode(mode), m_pJson(json) {}

    /// Bar where standard error is a terminal.
    static ProgressMode Choose(bool json, bool quiet);
    bool Due(uint64_t now) const;
    /// `details` stand beside the view's figures in the JSON event.
    void Show(uint64_t now, const ProgressView& view, const nlohmann::json& details);
    void Show(uint64_t now, const LiveView& view, nlohmann::json details);
    /// What is drawn stays, and whatever comes goes below it.
    void LeaveLine();
    /// What is drawn goes, for others to write there.
    void Wipe();
    /// A line of its own, whatever is being drawn; nothing in quiet mode.
    void Note(const std::string& line);
    /// The same as an event of the JSON stream.
    void Event(const nlohmann::json& event);
    /// Complaints are never quiet.
    void Error(const std::string& line);
    /// The same of which programs are told in an event of its own.
    void Warn(const std::string& line);
    ProgressMode Mode() const { return m_mode; }

private:
    void Draw(const std::vector<std::string>& lines);
    /// What takes away all that is drawn.
    std::string Back() const;

    const ProgressMode m_mode;
    std::FILE* const m_pJson;
    CRateMeter m_rate;
    uint64_t m_ullShownMs = 0;
    size_t m_nDrawn = 0;  // characters that stand on the terminal's last line
    size_t m_nLines = 0;  // that are drawn
};

/// Characters of a line of standard error's terminal, but one; 120 at most, 79 where there is none.
size_t TerminalWidth();
/// "1.5 MB", in powers of 1000.
std::string BytesText(double bytes);
/// "1 file", "2 files".
std::string Counted(uint64_t count, const std::string& noun);
/// "0:07", "1:02:03".
std::string DurationText(double seconds);
/// "on air 00:13  163 kB  13 kB/s  2 listening", at most `width` characters.
std::string LiveText(const LiveView& view, double perSecond, size_t width);
/// A file's line above the bar, at most `width` bytes.
std::string FileText(const FileView& file, size_t width);
/// The bar with figures, at most `width` characters.
std::string BarText(const ProgressView& view, double perSecond, double secondsLeft, size_t width);

}  // namespace lumo
