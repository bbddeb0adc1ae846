// Live streams over loopback: each medium published once, subscribed in every way.
#pragma once

#include "tools/lumo/demo/demo_stage.h"

#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumo {

/// One subscriber and what became of it.
struct StreamRow {
    std::string medium;
    std::string path;  ///< the way the stream took, for the table
    std::string out;   ///< what it wrote
    bool lossy = false;
    CChildProcess* subscriber = nullptr;

    uint64_t frames = 0;
    std::optional<double> delayMs;  ///< half of the frames were faster; none where frames carry no time
    std::string details;            ///< what the medium tells besides
    std::string problem;            ///< empty: what arrived is what was published
};

/// What the demo needs of a medium.
class IDemoStream {
public:
    using Words = CDemoStage::Words;
    virtual ~IDemoStream() = default;

    virtual const char* Medium() const = 0;  ///< the word on the command line
    /// Writes what is published into the folder; the words after `publish MEDIUM`, none when it cannot.
    virtual Words Publish(const std::string& folder) = 0;
    /// Name of what a subscriber writes.
    virtual const char* OutName() const = 0;
    /// Fills in what a subscriber's last event and its output tell.
    virtual void Judge(const nlohmann::json& end, StreamRow& row) = 0;
};

/// All media, in the order of the table.
std::vector<std::unique_ptr<IDemoStream>> DemoStreams();

/// One thread.
class CStreamDemo {
public:
    explicit CStreamDemo(CDemoStage& stage) : m_stage(stage), m_streams(DemoStreams()) {}

    /// Publishes everything for some seconds; false when it had to give up.
    bool Run();
    /// Shows the table; true when every stream was understood.
    bool Report() const;

private:
    using Words = CDemoStage::Words;

    bool StartPublishers(IDemoStream& stream, uint32_t channel);
    bool StartSubscribers(const IDemoStream& stream, uint32_t channel);
    bool AddRow(const IDemoStream& stream, const std::string& path, uint32_t channel, const Words& way);
    bool RunCut();
    bool WaitForRows();
    static void Judge(IDemoStream& stream, StreamRow& row);

    CDemoStage& m_stage;
    const std::vector<std::unique_ptr<IDemoStream>> m_streams;
    ImpairedPath m_impaired;
    std::map<uint32_t, std::string> m_links;  // by channel
    std::list<StreamRow> m_rows;
};

/// The table of streams.
std::string StreamTable(const std::list<StreamRow>& rows);

}  // namespace lumo
