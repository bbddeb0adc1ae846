// What `lumo publish` needs of a medium.
#pragma once

#include "tools/lumo/net/link.h"
#include "tools/lumo/net/relay_route.h"
#include "tools/lumo/ui/command_line.h"
#include "tools/lumo/ui/progress.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace lumo {

/// One for the command line, used for one stream at most: AddOptions, Prepare, Open, turns, SayGoodbye, Close. One
/// thread: the loop's.
class IPublishMedium {
public:
    virtual ~IPublishMedium() = default;

    virtual const char* Name() const = 0;  ///< the word on the command line
    virtual const char* Help() const = 0;
    virtual void AddOptions(CCommand& command) = 0;

    /// Opens what will be published; false with the problem to show. Nothing of the library runs yet.
    virtual bool Prepare(std::string& problem) = 0;
    /// Makes the channel, and its link to the relay; `inbox` learns when that is taken.
    virtual std::unique_ptr<CLink> Open(const RelayRoute& route, CInbox& inbox) = 0;
    /// Sends what is due. The result is how long nothing more will be, in ms.
    virtual uint64_t Turn(uint64_t now) = 0;
    /// Readable when Turn has something to do before that; -1: never.
    virtual int WaitFd() const { return -1; }
    virtual bool Over() const = 0;
    /// Tells subscribers that no more will come.
    virtual void SayGoodbye() = 0;
    /// Ends the channel; its link is gone.
    virtual void Close() = 0;

    virtual uint64_t Bytes() const = 0;
    /// Something to tell at once, each once, and in words where people read along; null: nothing more.
    virtual nlohmann::json NextEvent(std::string& words);
    /// For the progress and the last event.
    virtual nlohmann::json Details() = 0;
    /// Who is there, in a few words for the line that is shown: "2 listening".
    virtual std::string Audience() = 0;
    /// What was published, in a few words: "650 packets".
    virtual std::string Summary() = 0;
    /// Why it ended before its time; empty: it did not.
    virtual std::string Problem() const = 0;
};

/// All media, in the order in which they are shown.
std::vector<std::shared_ptr<IPublishMedium>> PublishMedia();

}  // namespace lumo
