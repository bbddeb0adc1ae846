// What `lumo subscribe` needs of a medium.
#pragma once

#include "tools/lumo/net/path_switch.h"
#include "tools/lumo/ui/command_line.h"

#include <lumomedia/seal.h>
#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace lumo {

/// One for the command line, used for one stream at most: AddOptions, Prepare, then the links are made, frames and
/// ticks, Finish. One thread: the loop's.
class ISubscribeMedium : public IPathLinks {
public:
    virtual ~ISubscribeMedium() = default;

    virtual const char* Name() const = 0;  ///< the word on the command line
    virtual const char* Help() const = 0;
    virtual void AddOptions(CCommand& command) = 0;
    /// The values that --path takes.
    virtual std::vector<std::string> Paths() const { return {"auto", "p2p", "relay"}; }
    virtual PathRules Rules() const = 0;
    /// What its frames are sealed as.
    virtual SealMedium Seals() const = 0;
    /// Standard output is taken by the stream.
    virtual bool UsesStdout() const { return false; }

    /// Opens what will be written; false with the problem to show.
    virtual bool Prepare(std::string& problem) = 0;
    /// False when the frame is not a publisher's.
    virtual bool OnFrame(const char* data, size_t length) = 0;
    virtual void Tick() {}
    /// Frames come by another way from here on.
    virtual void OnPathChanged() {}
    /// The publisher has said its goodbye, or nothing more can be written.
    virtual bool Over() const = 0;
    /// Writes out what waits.
    virtual void Finish() = 0;

    /// Whether anything was heard, and can be kept.
    virtual bool Heard() const = 0;
    virtual uint64_t Bytes() const = 0;
    /// For the progress and the last event.
    virtual nlohmann::json Details() const = 0;
    /// How well it is heard, in a few words for the line that is shown; empty: nobody can tell.
    virtual std::string Quality() const = 0;
    /// What was heard, in one line.
    virtual std::string Summary(double seconds) const = 0;
    /// Why the output is not whole; empty: it is.
    virtual std::string Problem() const = 0;
};

/// All media, in the order in which they are shown.
std::vector<std::shared_ptr<ISubscribeMedium>> SubscribeMedia();

}  // namespace lumo
